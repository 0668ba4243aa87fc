#include <string>

#include "safe/HashTable.h"
#include "tests/support/TestSupport.h"

namespace veltra {
namespace {

const std::string kLongLeak = "ERROR: Memory leak detected! Object type: Long\n";

// The report names the object's own type, detaches the proxy, and frees nothing.
TEST(Ptr, LastPtrToALivingHeapObjectReportsALeak)
{
    Long* object = NewObject<Long>(3);
    EXPECT_EQ(test::Run([&] { Ptr<SmartObject> last(object); }).err, kLongLeak);
    EXPECT_EQ(object->GetProxy(), nullptr);
    Ptr<Long> only(object);
    const Ptr<Long>& same = only;
    // Assignment releases before it attaches: the only Ptr, reassigned to its own object, reports
    // once and ends on a fresh proxy.
    EXPECT_EQ(test::Run([&] { only = same; }).err, kLongLeak);
    EXPECT_EQ(only.GetProxy()->m_count, 1);
    EXPECT_EQ(test::Run([&] { only = object; }).err, kLongLeak);
    EXPECT_EQ(only.GetProxy()->m_count, 1);
    EXPECT_EQ(only->m_value, 3);
    delete object;
}

TEST(Ptr, FailuresOfNullDeletedAndOwningPointers)
{
    // clang-format off
    const test::Failure rows[] = {
        {[] { (void)Ptr<Long>()->m_value; }, "Pointer is NULL"},
        {[] { Long* o = NewObject<Long>(); Ptr<Long> p(o); delete o; (void)p->m_value; }, "Tried to access deleted object"},
        // Refused through a Ptr reference too.
        {[] { AutoPtr<Long> owner(NewObject<Long>()); Long other; static_cast<Ptr<Long>&>(owner) = &other; },
         "Operator= is disallowed for AutoPtr"},
    };
    // clang-format on
    test::ExpectFailures(rows);
}

TEST(Ptr, NoLeakReportInOrdinaryUse)
{
    Ptr<Long> outside[] = {NewObject<Long>(1), NewObject<Long>(2)};
    Ptr<String> fromOwner;
    test::Outcome out = test::Run([&] {
        Long onStack;
        Ptr<Long> toStack(&onStack);
        AutoPtr<String> owned(Ptr<String>(NewObject<String>("k")));  // as handed back by a function
        fromOwner = owned;
        String copy(*owned);  // a copy starts with no proxy and no heap flag
        Ptr<String> toCopy(&copy);
        Long* deleted = NewObject<Long>();
        Ptr<Long> toDeleted(deleted);
        delete deleted;
        Vector<Ptr<Long>> items;  // deletes each object once, even when it is listed twice
        items.m_deleteItems = true;
        for (int i : {0, 1, 0}) items.Add(outside[i]);
        HashTable<Ptr<Long>> table;
        table.m_deleteItems = true;
        table.Add("a", NewObject<Long>());
        AutoPtr<Vector<String>> tokens(String("a b").GetTokens(" ", true));
    });
    EXPECT_FALSE(out.raised);
    EXPECT_EQ(out.err, "");
    for (const Ptr<Long>& p : outside)
        EXPECT_TRUE(test::RaisesExactly([&] { (void)p->m_value; }, "Tried to access deleted object"));
    EXPECT_TRUE(test::RaisesExactly([&] { (void)fromOwner->Length(); }, "Tried to access deleted object"));
}

}  // namespace
}  // namespace veltra
