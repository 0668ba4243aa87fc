#include "safe/HashTable.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {

// The report names the object's own type, detaches the proxy, and frees nothing. Assignment
// releases before it attaches: the only Ptr, reassigned to its own object, reports once and ends
// on a fresh proxy.
TEST(Ptr, LastPtrToALivingHeapObjectReportsALeak)
{
    const std::string leak = "ERROR: Memory leak detected! Object type: Long\n";
    Long* object = NewObject<Long>(3);
    EXPECT_EQ(test::Run([&] { Ptr<SmartObject> last(object); }).err, leak);
    EXPECT_EQ(object->GetProxy(), nullptr);
    Ptr<Long> only(object);
    const Ptr<Long>& same = only;
    EXPECT_EQ(test::Run([&] { only = same; }).err, leak);
    EXPECT_EQ(only.GetProxy()->m_count, 1);
    delete object;
}

TEST(Ptr, NoLeakReportInOrdinaryUse)
{
    Ptr<Long> outside[] = {NewObject<Long>(1), NewObject<Long>(2)};
    Ptr<String> fromOwner;
    const Outcome out = test::Run([&] {
        Long onStack;
        Ptr<Long> toStack(&onStack);
        AutoPtr<String> owned(Ptr<String>(NewObject<String>("k")));  // as handed back by a function
        fromOwner = owned;
        String copy(*owned);  // a copy starts with no proxy and no heap flag
        Ptr<String> toCopy(&copy);
        Vector<Ptr<Long>> items;  // deletes each object once, even when it is listed twice
        items.m_deleteItems = true;
        for (int i : {0, 1, 0}) items.Add(outside[i]);
    });
    EXPECT_EQ(out.err, "");
    for (const Ptr<Long>& p : outside) EXPECT_FALSE(p.IsAlive());
    EXPECT_FALSE(fromOwner.IsAlive());
}

}  // namespace veltra::test
