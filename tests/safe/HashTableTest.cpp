#include <cstdint>
#include <string>
#include <utility>

#include "safe/HashTable.h"
#include "tests/support/TestSupport.h"

namespace veltra {
namespace {

using test::Joined;
using test::Outcome;
using test::RaisesExactly;

TEST(HashTable, KeysKeepTheOrderOfInsertionAndLookupsGoByKey)
{
    HashTable<Long> table;
    const char* keys[] = {"b", "a", "c", "ab", "A"};
    for (int32_t i = 0; i < 5; ++i) table.Add(keys[i], Long(i));
    EXPECT_TRUE(RaisesExactly([&] { table.Add("a", Long(9)); }, "HashTable cannot add duplicate key: a"));
    EXPECT_EQ(Joined(*table.GetKeys()), "[b][a][c][ab][A]");
    EXPECT_EQ(table.Size(), 5);
    EXPECT_EQ(table.Get("a").m_value, 1);
    EXPECT_EQ(std::as_const(table).Get("A").m_value, 4);
    for (const char* key : {"B", "abc", "", "a "}) {
        SCOPED_TRACE(std::string(">") + key + "<");
        EXPECT_FALSE(table.Contains(key));
        EXPECT_TRUE(
            RaisesExactly([&] { (void)table.Get(key); }, std::string("Hashtable cannot find key: ") + key));
    }
}

TEST(HashTable, DeleteItemsFlagDeletesTheReferencedObjects)
{
    Ptr<Long> first(NewObject<Long>(1));
    Ptr<Long> second(NewObject<Long>(2));
    Outcome out = test::Run([&] {
        HashTable<Ptr<Long>> table;
        table.m_deleteItems = true;
        table.Add("H=a", first);
        table.Add("H=b", second);
    });
    EXPECT_EQ(out.err, "");
    for (const Ptr<Long>* p : {&first, &second})
        EXPECT_TRUE(RaisesExactly([&] { (void)(*p)->m_value; }, "Tried to access deleted object"));
}

}  // namespace
}  // namespace veltra
