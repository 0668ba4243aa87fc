#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "net/NaiveBayesNet.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {
namespace {

// Results "y-" give the products s: 0.6 * 0.2 = 0.12 and h: 0.4 * 0.1 = 0.04.
std::string TwoStates(const char* priorS, const char* priorH)
{
    return std::string("H = Class \"s,h\"\nT1 = first \"y,n\"\nT2 = second \"l,m\"\n") +
           "P(H=s) = " + priorS + "\nP(H=h) = " + priorH +
           "\nP(T1=y|H=s) = 0.2\nP(T1=n|H=s) = 0.8\nP(T1=y|H=h) = 0.1\nP(T1=n|H=h) = 0.9\n"
           "P(T2=l|H=s) = 0.5\nP(T2=m|H=s) = 0.5\nP(T2=l|H=h) = 0.25\nP(T2=m|H=h) = 0.75\n";
}

class Inference : public testing::Test {
protected:
    void SetUp() override { m_net.Load(TwoStates("0.6", "0.4")); }
    NaiveBayesNet m_net;
};

TEST_F(Inference, ConfidenceLevelsFromProducts)
{
    EXPECT_NEAR(m_net.Product("H=s", "y-", false), 0.12, 1e-15);
    EXPECT_NEAR(m_net.GetConfLevel("H=s", "y-", false), 0.75, 1e-12);
    EXPECT_NEAR(m_net.GetConfLevel("H=h", "y-", false), 0.25, 1e-12);
    EXPECT_NEAR(m_net.GetConfLevel("H=s", "nm", false), 0.24 / (0.24 + 0.27), 1e-12);
}

TEST_F(Inference, PriorsAloneAndZeroProducts)
{
    m_net.SetProbability("H=s", 0.3);
    m_net.SetProbability("H=h", 0.1);
    EXPECT_DOUBLE_EQ(m_net.Product("H=s", "--", false), 0.3);
    EXPECT_NEAR(m_net.GetConfLevel("H=s", "--", false), 0.75, 1e-12);  // prior / sum of priors
    m_net.SetProbability("H=s", 0.0);
    EXPECT_EQ(m_net.GetConfLevel("H=s", "y-", false), 0.0);
    EXPECT_EQ(m_net.GetConfLevel("H=h", "y-", false), 1.0);
    m_net.SetProbability("H=h", 0.0);
    EXPECT_EQ(m_net.GetConfLevel("H=h", "n-", false), 0.0);  // every product 0: still 0
}

struct ConfCase {
    const char* name;
    const char* stateKey;
    const char* results;
    const char* err;
};

const ConfCase kConfFailures[] = {
    {"one result short", "H=s", "y", "Expected 2 test results but got 1. Test results:\ny\n"},
    {"length checked first", "s", "", "Expected 2 test results but got 0. Test results:\n\n"},
    {"state key without H=", "s", "y-", "Hypothesis must start with H=\n"},
    {"unknown state", "H=q", "y-", "Given hypothesis does not exist: H=q\n"},
    {"value not of the test", "H=s", "yq", "Test: T2 does not contain state: T2=q|H=s\n"},
    {"full stops are results here", "H=s", ".y", "Test: T1 does not contain state: T1=.|H=s\n"},
};

TEST_F(Inference, ConfidenceLevelFailures)
{
    for (const ConfCase& row : kConfFailures) {
        Outcome outcome = test::Run([&] { m_net.GetConfLevel(row.stateKey, row.results, false); });
        EXPECT_TRUE(outcome.raised) << row.name;
        EXPECT_EQ(outcome.err, row.err) << row.name;
        EXPECT_EQ(outcome.message + "\n", row.err) << row.name;
    }
}

TEST_F(Inference, VerbosePrintoutAndCachedProducts)
{
    Outcome first = test::Run([&] { m_net.GetConfLevel("H=s", "yl", true); });
    EXPECT_EQ(first.out,
              "P(H=s) = 0.6\n"
              "P(T1=y|H=s) = 0.2\tproduct = 0.12\n"
              "P(T2=l|H=s) = 0.5\tproduct = 0.06\n"
              "product = 0.06\n"
              "P(H=h) = 0.4\n"
              "P(T1=y|H=h) = 0.1\tproduct = 0.04\n"
              "P(T2=l|H=h) = 0.25\tproduct = 0.01\n"
              "product = 0.01\n"
              "H=s  confLevel = 0.857143\n");
    // Both products are cached now: only the level itself is printed.
    EXPECT_EQ(test::Run([&] { m_net.GetConfLevel("H=h", "yl", true); }).out, "H=h  confLevel = 0.142857\n");
    EXPECT_EQ(test::Run([&] { m_net.Product("H=s", "yl", true); }).out, "");
}

TEST_F(Inference, CachedAnswersSurviveAReload)
{
    EXPECT_NEAR(m_net.GetConfLevel("H=s", "y-", false), 0.75, 1e-12);
    m_net.Load(TwoStates("0.4", "0.6"));
    EXPECT_NEAR(m_net.GetConfLevel("H=s", "y-", false), 0.75, 1e-12);
    EXPECT_NEAR(m_net.GetConfLevel("H=s", "n-", false), 0.32 / (0.32 + 0.54), 1e-12);
}

TEST_F(Inference, ProductCacheIsEmptiedWhenFull)
{
    auto printout = [&] { return test::Run([&] { m_net.Product("H=s", "y-", true); }).out; };
    const std::string computed = "P(H=s) = 0.6\nP(T1=y|H=s) = 0.2\tproduct = 0.12\nproduct = 0.12\n";
    EXPECT_EQ(printout(), computed);
    EXPECT_EQ(printout(), "");
    // Only the first two characters are read: the rest just makes the cache keys differ.
    for (int i = 2; i <= NaiveBayesNet::kProductCacheSize; ++i)
        m_net.Product("H=s", "y-" + std::to_string(i), false);
    EXPECT_EQ(printout(), "");  // 97 entries: still there
    m_net.Product("H=s", "y-98", false);
    EXPECT_EQ(printout(), computed);
}

// One state and three tests with ten values each: a thousand distinct results.
std::string DigitNetwork(char state)
{
    std::string text = std::string("H = K \"") + state + "\"\nP(H=" + state + ") = 1\n";
    for (char t = '1'; t <= '3'; ++t) {
        text += std::string("T") + t + " = digit \"0,1,2,3,4,5,6,7,8,9\"\n";
        for (char v = '0'; v <= '9'; ++v)
            text += std::string("P(T") + t + "=" + v + "|H=" + state + ") = 0.1\n";
    }
    return text;
}

TEST(InferenceCache, ConfidenceCacheStopsGrowing)
{
    NaiveBayesNet net;
    net.Load(DigitNetwork('s'));
    char results[8];
    for (int i = 0; i <= NaiveBayesNet::kConfidenceCacheSize; ++i) {
        std::snprintf(results, sizeof results, "%03d", i);
        ASSERT_EQ(net.GetConfLevel("H=s", results, false), 1.0);
    }
    // Without the state s, only a cached level can still be answered.
    net.Load(DigitNetwork('t'));
    EXPECT_EQ(net.GetConfLevel("H=s", "000", false), 1.0);
    EXPECT_EQ(net.GetConfLevel("H=s", "996", false), 1.0);
    EXPECT_TRUE(RaisesExactly([&] { net.GetConfLevel("H=s", "997", false); },
                              "Given hypothesis does not exist: H=s"));
}

TEST(InferenceMaxDiff, LargestTruncatedDifference)
{
    // No pair; the largest pair; differences below 1 count as 0; truncation toward zero.
    const std::pair<std::vector<double>, int32_t> rows[] = {
        {{42.0}, 0}, {{10.9, 3.2, 10.0}, 7}, {{0.5, 0.9, 0.1}, 0}, {{1.0, 9.5}, 8}};
    NaiveBayesNet net;
    for (const auto& [values, expected] : rows) {
        HashTable<Double> table;
        for (size_t i = 0; i < values.size(); ++i) table.Add("k" + std::to_string(i), Double(values[i]));
        EXPECT_EQ(net.GetMaxDiff(table, false), expected) << testing::PrintToString(values);
    }
    HashTable<Double> table;
    table.Add("H=b|a-", Double(10.9));
    table.Add("H=a|a-", Double(3.2));
    EXPECT_EQ(test::Run([&] { net.GetMaxDiff(table, true); }).out,
              "  confLevel H=b|a- = 10.9\n  confLevel H=a|a- = 3.2\n  max diff: 7\n");
}

}  // namespace
}  // namespace veltra::test
