#include <cmath>
#include <vector>

#include "net/NaiveBayesNet.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {

// Every line kind: comment, parameters (tab, blanks and "=" separate), hypothesis, tests,
// probabilities (blanks anywhere; a later line for a key wins).
const std::string kFields =
    "# fields\nPARAMETER\tthreshold = 0.5\nPARAMETER limit=abc\nH = Kind \" x , y \"\n"
    "T1 = d \"d,n\"\nT2 = e \" s \"\nP(H=x) = 0.9\nP(H=x) = 0.4\nP( H = y ) = 0.6\n"
    "P(T1=d|H=x) = 0.7\nP(T1=n|H=x) = 0.3\nP(T1=d|H=y) = 0.2\nP(T1=n|H=y) = 0.8\n"
    "P(T2=s|H=x) = 1\nP(T2=s|H=y) = 1\n";

TEST(NaiveBayesNet, ReadsEveryLineKindWithAnyLineEnd)
{
    for (const std::string end : {"\n", "\r\n", "\r", "\n \t\n\r\n"}) {
        std::string text = " \t" + kFields;  // every line indented, ended by `end`
        for (size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += end.size() + 2)
            text.replace(at, 1, end + " \t");
        NaiveBayesNet net;
        ASSERT_EQ(test::Run([&] { net.Load(text), net.Validate(); }).err, "") << testing::PrintToString(end);
        EXPECT_EQ(net.GetHypothesis().GetName() + net.GetHypothesis().GetState(1) + net.GetTest(1).GetTag(),
                  "Kind yT2");
        const std::vector<double> read = {net.GetParameter("threshold"),  net.GetParameter("limit"),
                                          net.GetProbability("H=x"),      net.GetProbability("H=y"),
                                          net.GetProbability("T1=n|H=y"), net.GetProbability("T2=s|H=y")};
        EXPECT_EQ(read, std::vector<double>({0.5, 0.0, 0.4, 0.6, 0.8, 1.0}));
    }
}

// Every row reloads the same network: Load's own checks are not wrapped, each failure prints its
// one message ("": loads silently), and parameters survive. The checks of the hypothesis and the
// tests come through the reader: a duplicate value before the reserved "-", probabilities in
// [0, 1], and sums of 1 within 0.0001 for the priors and for each test in each state.
TEST(NaiveBayesNet, ReaderAndValidateChecks)
{
    const struct {
        const char* description;
        const char* err;
    } rows[] = {
        {"T1 = d \"a\"\nH = K \"x\"", "BayesTest cannot be initialized with NULL hypothesis\n"},
        {"H = \"x,y\"", "Wrong format in line:\n\"x,y\"\n"},
        {"H = K \"x\"\nPrice = cost \"l,h\"", "Index: 1 out of Vector bounds 0-0\n"},  // a probability line
        {"H = K \"x\"\nT1 = d \"a\"\nT1 = e \"b\"", "HashTable cannot add duplicate key: T1\n"},
        {"P(H=x) = 1\nH = K \"x\"", "Pointer is NULL\n"},
        {"H = K \"x\"\nP(T9=a|H=x) = 1", "NaiveBayesNet does not contain test with tag: T9\n"},
        {"# a\n\n   # b\n", "Network must contain a hypothesis (H)\n"},
        {"H = K \"a,a\"", "Cannot add in node duplicate value: a\n"},
        {"H = K \"x,-\"", "Value - is reserved, cannot add it in hypothesis\n"},
        {"H = K \"x\"\nT1 = d \"a,a\"", "Cannot add in node duplicate value: a\n"},
        {"H = K \"x\"\nT1 = d \"a,-\"", "Value - is reserved, cannot add it in node: T1\n"},
        {"H = K \"x\"\nP(H=x) = -0.0001", "Probability must be in range [0,1] but it is: -0.0001\n"},
        {"H = K \"x\"\nP(H=x) = 1.0001", "Probability must be in range [0,1] but it is: 1.0001\n"},
        {"H = K \"x,y\"\nP(H=x) = 0.5\nP(H=y) = 0.4998", "Probabilities for hypothesis sum up to: 0.9998\n"},
        {"H = K \"x\"\nT = d \"a,b\"\nP(H=x)=1\nP(T=a|H=x)=1", "Test: T does not contain state: T=b|H=x\n"},
        {"H = K \"x\"\nT = d \"a,b\"\nP(H=x) = 1\nP(T=a|H=x) = 0.3\nP(T=b|H=x) = 0.6",
         "Probabilities for: T|H=x sum up to: 0.9\n"},
        {"H = K \"x,y\"\nT = d \"a,b\"\nP(H=x) = 0.5\nP(H=y) = 0.49995\nP(T=a|H=x) = 0\nP(T=b|H=x) = 1\n"
         "P(T=a|H=y) = 0.5\nP(T=b|H=y) = 0.50005",
         ""},
        {"H = K \"x,y\"\nT1 = d \"--,a-\"", ""},  // no probability lines: no sums checked
        // A tag beginning with H is a hypothesis line; a later hypothesis line replaces the earlier one,
        // and tests made before it keep theirs.
        {"H = K \"x\"\nHeight = tall \"s\"\nP(H=x) = 1", "Hypothesis does not contain state: H=s\n"},
        {"H = K \"x\"\nT1 = d \"a\"\nH = J \"y\"\nP(H=y) = 1\nP(T1=a|H=x) = 1", ""},
    };
    NaiveBayesNet net;
    const std::string inner = "Network has not been initialized yet";
    Outcome outcome = test::Run([&] { net.Validate(); });  // Validate wraps: inner line, then wrapped
    EXPECT_EQ(outcome.message, "NaiveBayesNet check failed:\n" + inner);
    EXPECT_EQ(outcome.err, inner + "\n" + outcome.message + "\n");
    net.AddParameter("kept", 2.0);
    for (const auto& row : rows) {
        outcome = test::Run([&] { net.Load(row.description); });
        EXPECT_EQ(outcome.raised, *row.err != '\0') << row.description;
        EXPECT_EQ(outcome.err, row.err) << row.description;
    }
    EXPECT_EQ(net.GetParameter("kept"), 2.0);
    EXPECT_TRUE(RaisesExactly([&] { net.AddParameter(" \t", 1.0); }, "Cannot add blank parameter"));
    net.Load("H = K \"x\"\nT1 = d \"a\"");  // Validate checks the sums that Load skipped
    EXPECT_EQ(test::Run([&] { net.Validate(); }).message,
              "NaiveBayesNet check failed:\nHypothesis does not contain state: H=x");
}

// Inference on kFields: the failures of a level. A product is cached until the product cache is
// found full at a store (the 98th), which empties it; a cached product prints nothing in verbose
// mode, and only the first two characters are read (the rest makes the keys differ). Both caches
// outlive a reload, so a level comes back stale; a level never asked for is the new network's. A
// zero product answers 0 outright, also when every
// product is 0.
TEST(NaiveBayesNet, InferenceFailuresCachesAndZeroProducts)
{
    NaiveBayesNet net;
    net.Load(kFields);
    const char* rows[][3] = {{"H=x", "d", "Expected 2 test results but got 1. Test results:\nd"},
                             {"x", "d-", "Hypothesis must start with H="},
                             {"H=q", "d-", "Given hypothesis does not exist: H=q"},
                             {"H=x", ".s", "Test: T1 does not contain state: T1=.|H=x"}};  // "." is a result
    for (const auto& [state, results, message] : rows)
        EXPECT_TRUE(RaisesExactly([&] { net.GetConfLevel(state, results, false); }, message));
    auto printout = [&] { return test::Run([&] { net.Product("H=x", "d-", true); }).out; };
    const std::string computed = "P(H=x) = 0.4\nP(T1=d|H=x) = 0.7\tproduct = 0.28\nproduct = 0.28\n";
    EXPECT_EQ(printout(), computed);
    net.Load(kFields);
    for (int i = 1; i <= 97; ++i) {
        EXPECT_EQ(printout(), "") << i;
        net.Product("H=x", "d-" + std::to_string(i + 1), false);
    }
    EXPECT_EQ(printout(), computed);
    net.GetConfLevel("H=x", "d-", false);
    net.Load(kFields + "P(H=x) = 0.6\nP(H=y) = 0.4\n");
    EXPECT_EQ(test::Run([&] { net.GetConfLevel("H=x", "d-", true); }).out, "H=x  confLevel = 0.7\n");
    EXPECT_NEAR(net.GetConfLevel("H=x", "n-", false), 0.18 / (0.18 + 0.32), 1e-12);  // never asked: new
    net.SetProbability("H=x", 0.0);
    net.SetProbability("H=y", 0.0);
    EXPECT_EQ(net.GetConfLevel("H=y", "-s", false), 0.0);
    EXPECT_EQ(net.GetConfLevel("H=x", "ns", true), 0.0);
}

// The largest difference of figures, as training's figures take it without the table, is what
// GetMaxDiff gives for a table of them: truncation before the absolute value, the clamp, NaN.
TEST(NaiveBayesNet, LargestDifferenceIsGetMaxDiffs)
{
    const double inf = HUGE_VAL, nan = std::nan("");
    const std::vector<std::vector<double>> rows = {
        {},         {42.5},     {10.0, 10.9}, {0.5, -0.6, 0.2}, {97.25, 3.5, 50.0, 99.99}, {-0.0, 0.0},
        {inf, 5.0}, {inf, inf}, {-inf, inf},  {3.0, nan, 4.0},  {1e300, -1e300},           {60.0, 20.0, 20.0},
    };
    NaiveBayesNet net;
    for (const std::vector<double>& figures : rows) {
        HashTable<Double> table;
        for (size_t i = 0; i < figures.size(); ++i) table.Add(String(std::to_string(i)), Double(figures[i]));
        EXPECT_EQ(NaiveBayesNet::LargestDifference(figures), net.GetMaxDiff(table, false)) << figures.size();
    }
}

}  // namespace veltra::test
