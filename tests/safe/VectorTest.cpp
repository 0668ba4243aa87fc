#include <cstdint>
#include <string>
#include <utility>

#include "safe/HashTable.h"
#include "safe/SmartString.h"
#include "safe/Vector.h"
#include "tests/support/TestSupport.h"

namespace veltra {
namespace {

using test::Joined;
using test::Outcome;
using test::RaisesExactly;

struct IndexCase {
    const char* name;
    int32_t size;
    int32_t index;
    const char* message;
};

// Emptiness is checked before the range.
const IndexCase kIndexes[] = {
    {"index 0 of an empty vector", 0, 0, "Cannot access element of empty Vector"},
    {"index 5 of three", 3, 5, "Index: 5 out of Vector bounds 0-2"},
    {"index 3 of three", 3, 3, "Index: 3 out of Vector bounds 0-2"},
    {"index -1 of three", 3, -1, "Index: -1 out of Vector bounds 0-2"},
    {"index 1 of one", 1, 1, "Index: 1 out of Vector bounds 0-0"},
};

TEST(Vector, EveryIndexedAccessIsChecked)
{
    for (const auto& row : kIndexes) {
        SCOPED_TRACE(row.name);
        Vector<String> v;
        for (int32_t i = 0; i < row.size; ++i) v.Add(String(i));
        EXPECT_TRUE(RaisesExactly([&] { (void)v[row.index]; }, row.message));
        EXPECT_TRUE(RaisesExactly([&] { (void)std::as_const(v).Get(row.index); }, row.message));
        EXPECT_TRUE(RaisesExactly([&] { v.RemoveAt(row.index); }, row.message));
        EXPECT_EQ(v.Size(), row.size);
    }
}

TEST(Vector, RemoveTakesTheFirstEqualItemOnly)
{
    Vector<String> v;
    for (const char* item : {"a", "b", "a", "c"}) v.Add(item);
    EXPECT_TRUE(RaisesExactly([&] { v.Remove("x"); }, "Cannot remove item from Vector. Item was not found"));
    EXPECT_EQ(Joined(v), "[a][b][a][c]");
    v.Remove("a");
    EXPECT_EQ(Joined(v), "[b][a][c]");
}

TEST(Vector, DeleteItemsFlagDeletesEachReferencedObjectOnce)
{
    Ptr<Long> outside[] = {NewObject<Long>(1), NewObject<Long>(2)};
    Outcome out = test::Run([&] {
        Vector<Ptr<Long>> v;
        v.m_deleteItems = true;
        v.Add(outside[0]);
        v.Add(outside[1]);
        v.Add(outside[0]);
    });
    EXPECT_EQ(out.err, "");
    for (const Ptr<Long>& p : outside)
        EXPECT_TRUE(RaisesExactly([&] { (void)p->m_value; }, "Tried to access deleted object"));
}

}  // namespace
}  // namespace veltra
