#include "net/BayesTest.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {
namespace {

// The test T1 with the values a and b, on a hypothesis with the state spam.
struct Node {
    Hypothesis hypothesis{"K"};
    Ptr<Hypothesis> reach{&hypothesis};
    BayesTest test{"T1", "first", reach};
    Node(double a, double b)
    {
        hypothesis.AddState("spam");
        test.AddValue("a");
        test.AddValue("b");
        test.SetProbability("T1=a|H=spam", a);
        test.SetProbability("T1=b|H=spam", b);
    }
};

// The reserved value is refused naming the test; missing keys and sums name the test and state.
TEST(BayesTest, FailuresOfValuesProbabilitiesAndSums)
{
    // clang-format off
    const Failure rows[] = {
        {[] { BayesTest("T1", "first", Ptr<Hypothesis>()); }, "BayesTest cannot be initialized with NULL hypothesis"},
        {[] { Node node(0.3, 0.7); node.test.AddValue("a"); }, "Cannot add in node duplicate value: a"},
        {[] { Node node(0.3, 0.7); node.test.AddValue("-"); }, "Value - is reserved, cannot add it in node: T1"},
        {[] { Node node(0.3, 0.7); (void)node.test.GetProbability("T1=a|H=Spam"); }, "Test: T1 does not contain state: T1=a|H=Spam"},
        {[] { Node node(0.3, 0.6); node.test.CheckProbabilities(); }, "Probabilities for: T1|H=spam sum up to: 0.900000"},
    };
    // clang-format on
    ExpectFailureMessages(rows);
    EXPECT_FALSE(test::Run([] { Node(0.3, 0.7).test.CheckProbabilities(); }).raised);
}

}  // namespace
}  // namespace veltra::test
