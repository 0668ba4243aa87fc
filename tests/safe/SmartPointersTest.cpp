#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "safe/HashTable.h"
#include "safe/SmartPointers.h"
#include "safe/SmartString.h"
#include "safe/Vector.h"
#include "tests/support/TestSupport.h"

namespace veltra {
namespace {

using test::Outcome;
using test::RaisesExactly;

std::string LeakReport(const std::string& type)
{
    return "ERROR: Memory leak detected! Object type: " + type + "\n";
}

TEST(SmartObject, LastPtrToALivingHeapObjectReportsALeakAndFreesNothing)
{
    const std::pair<SmartObject*, std::string> objects[] = {
        {NewObject<String>("s"), "String"},
        {NewObject<Double>(0.5), "Double"},
        {NewObject<Long>(7), "Long"},
        {NewObject<Vector<Ptr<Long>>>(), "Vector"},
        {NewObject<HashTable<Double>>(), "HashTable"},
    };
    for (const auto& row : objects) {
        SCOPED_TRACE(row.second);
        EXPECT_EQ(test::Run([&] { Ptr<SmartObject> only(row.first); }).err, LeakReport(row.second));
        EXPECT_EQ(row.first->GetProxy(), nullptr);
        Ptr<SmartObject> again(row.first);  // reachable again, through a fresh proxy
        EXPECT_EQ(again.GetProxy()->m_count, 1);
        delete row.first;
    }
}

TEST(SmartObject, NoLeakReportForObjectsThatAreOwnedOrNotOnTheHeap)
{
    Ptr<String> outlivesOwner;
    Outcome out = test::Run([&] {
        Long onStack;
        Ptr<Long> toStack(&onStack);
        AutoPtr<String> owned(Ptr<String>(NewObject<String>("k")));  // taken out of a returned Ptr
        outlivesOwner = owned;
        String copy(*owned);  // a copy has its own proxy state and no heap flag
        Ptr<String> toCopy(&copy);
        EXPECT_EQ(toCopy.GetRaw(), &copy);
        Long* deleted = NewObject<Long>();
        Ptr<Long> toDeleted(deleted);
        delete deleted;
        AutoPtr<HashTable<Double>> table(NewObject<HashTable<Double>>());
        table->Add("p", Double(0.5));
        Vector<Ptr<Long>> owning;
        owning.m_deleteItems = true;
        owning.Add(NewObject<Long>(1));
        AutoPtr<Vector<String>> tokens(String("a b").GetTokens(" ", true));
    });
    EXPECT_FALSE(out.raised);
    EXPECT_EQ(out.err, "");
    EXPECT_TRUE(RaisesExactly([&] { (void)outlivesOwner->GetTypeName(); }, "Tried to access deleted object"));
}

TEST(Ptr, NullAndDeletedObjectsFailOnEveryAccess)
{
    Long* object = NewObject<Long>(4);
    Ptr<Long> first(object);
    Ptr<Long> second(first);
    delete object;
    Ptr<Long> null;
    Ptr<Long> fromDeleted(first);
    fromDeleted = second;  // takes the object, which is gone: null
    const struct {
        const char* name;
        const Ptr<Long>* ptr;
        const char* message;
    } rows[] = {
        {"default", &null, "Pointer is NULL"},
        {"assigned from a Ptr to a deleted object", &fromDeleted, "Pointer is NULL"},
        {"first Ptr to a deleted object", &first, "Tried to access deleted object"},
        {"second Ptr to a deleted object", &second, "Tried to access deleted object"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_TRUE(RaisesExactly([&] { (void)(*row.ptr)->m_value; }, row.message));
    }
    EXPECT_EQ(first.GetProxy()->m_count, 2);
}

// Assignment releases first and attaches second, with no test for self-assignment: assigning the
// only Ptr of a heap object that same object drops the proxy (one report) and attaches a fresh one.
TEST(Ptr, AssignmentReleasesBeforeAttaching)
{
    Long* object = NewObject<Long>(3);
    Long other(4);
    Ptr<Long> only(object);
    const Ptr<Long>& same = only;
    const struct {
        const char* name;
        std::function<void()> assign;
        int32_t value;
    } rows[] = {
        {"the same Ptr", [&] { only = same; }, 3},
        {"the same object", [&] { only = object; }, 3},
        {"another object", [&] { only = &other; }, 4},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(test::Run(row.assign).err, LeakReport("Long"));
        EXPECT_EQ(only.GetProxy()->m_count, 1);
        EXPECT_EQ(only->m_value, row.value);
    }
    EXPECT_EQ(object->GetProxy(), nullptr);
    delete object;
}

TEST(AutoPtr, AssignmentIsRefusedAndChangesNothing)
{
    AutoPtr<Long> owner(NewObject<Long>(7));
    Long other(1);
    Ptr<Long> toOther(&other);
    Ptr<Long>& asPtr = owner;  // the refusal holds through a Ptr reference too
    EXPECT_TRUE(RaisesExactly([&] { owner = &other; }, "Operator= is disallowed for AutoPtr"));
    EXPECT_TRUE(RaisesExactly([&] { asPtr = toOther; }, "Operator= is disallowed for AutoPtr"));
    EXPECT_EQ(owner->m_value, 7);
    EXPECT_EQ(owner.GetProxy()->m_count, 1);
    EXPECT_EQ(toOther.GetProxy()->m_count, 1);
}

}  // namespace
}  // namespace veltra
