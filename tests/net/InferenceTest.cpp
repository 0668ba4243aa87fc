#include <string>

#include "net/NaiveBayesNet.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {
namespace {

// Results "y-" give the products s: 0.6 * 0.2 = 0.12 and h: 0.4 * 0.1 = 0.04.
const std::string kTwoStates =
    "H = Class \"s,h\"\nT1 = first \"y,n\"\nT2 = second \"l,m\"\nP(H=s) = 0.6\nP(H=h) = 0.4\n"
    "P(T1=y|H=s) = 0.2\nP(T1=n|H=s) = 0.8\nP(T1=y|H=h) = 0.1\nP(T1=n|H=h) = 0.9\nP(T2=l|H=s) = 0.5\n"
    "P(T2=m|H=s) = 0.5\nP(T2=l|H=h) = 0.25\nP(T2=m|H=h) = 0.75\n";

// A product is cached until the product cache is found full at a store (the 98th), which empties
// it: a cached product prints nothing in verbose mode. Only the first two characters are read, the
// rest makes the keys differ.
TEST(Inference, ProductCacheEmptiesWhenFoundFull)
{
    NaiveBayesNet net;
    net.Load(kTwoStates);
    auto printout = [&] { return test::Run([&] { net.Product("H=s", "y-", true); }).out; };
    const std::string computed = "P(H=s) = 0.6\nP(T1=y|H=s) = 0.2\tproduct = 0.12\nproduct = 0.12\n";
    EXPECT_EQ(printout(), computed);
    for (int i = 1; i <= NaiveBayesNet::kProductCacheSize; ++i) {
        EXPECT_EQ(printout(), "") << i;
        net.Product("H=s", "y-" + std::to_string(i + 1), false);
    }
    EXPECT_EQ(printout(), computed);
}

TEST(Inference, ConfidenceLevelFailures)
{
    NaiveBayesNet net;
    net.Load(kTwoStates);
    auto fails = [&](const char* state, const char* results, const std::string& message) {
        return RaisesExactly([&] { net.GetConfLevel(state, results, false); }, message);
    };
    EXPECT_TRUE(fails("H=s", "y", "Expected 2 test results but got 1. Test results:\ny"));
    EXPECT_TRUE(fails("s", "y-", "Hypothesis must start with H="));
    EXPECT_TRUE(fails("H=q", "y-", "Given hypothesis does not exist: H=q"));
    EXPECT_TRUE(fails("H=s", ".m", "Test: T1 does not contain state: T1=.|H=s"));  // a full stop is a result
}

// Reloaded with the priors swapped, the network still answers a cached input with the old level;
// an input never seen gets the new network's.
TEST(Inference, ReloadKeepsCachedLevels)
{
    NaiveBayesNet net;
    net.Load(kTwoStates);
    EXPECT_NEAR(net.GetConfLevel("H=s", "y-", false), 0.75, 1e-12);
    EXPECT_NEAR(net.GetConfLevel("H=h", "y-", false), 0.25, 1e-12);
    net.Load(kTwoStates + "P(H=s) = 0.4\nP(H=h) = 0.6");
    EXPECT_EQ(test::Run([&] { net.GetConfLevel("H=s", "y-", true); }).out, "H=s  confLevel = 0.75\n");
    EXPECT_NEAR(net.GetConfLevel("H=s", "nm", false), 0.16 / (0.16 + 0.405), 1e-12);
}

// A zero product answers 0 outright, also when every product is 0.
TEST(Inference, ZeroProductsGiveZeroLevels)
{
    NaiveBayesNet net;
    net.Load(kTwoStates);
    net.SetProbability("H=s", 0.0);
    EXPECT_EQ(net.GetConfLevel("H=h", "n-", false), 1.0);
    net.SetProbability("H=h", 0.0);
    EXPECT_EQ(net.GetConfLevel("H=h", "-m", false), 0.0);
}

}  // namespace
}  // namespace veltra::test
