#include "safe/HashTable.h"
#include "tests/support/TestSupport.h"

namespace veltra {
namespace {

TEST(HashTable, KeysKeepTheOrderOfInsertion)
{
    HashTable<Long> t;
    for (const char* key : {"b", "a", "c", "ab", "A"}) t.Add(key, Long(t.Size()));
    EXPECT_EQ(test::Joined(*t.GetKeys()), "[b][a][c][ab][A]");
    EXPECT_EQ(t.Get("a").m_value, 1);
}

// A duplicate key leaves the first item; lookups are exact, and the lower-case t is the message's.
TEST(HashTable, FailuresNameTheKey)
{
    // clang-format off
    const test::Failure rows[] = {
        {[] { HashTable<Long> t; t.Add("a", Long(1)); t.Add("a", Long(2)); }, "HashTable cannot add duplicate key: a"},
        {[] { HashTable<Long> t; t.Add("a", Long()); (void)t.Get("A"); }, "Hashtable cannot find key: A"},
    };
    // clang-format on
    test::ExpectFailures(rows);
}

}  // namespace
}  // namespace veltra
