#include <string>
#include <utility>
#include <vector>

#include "net/NaiveBayesNet.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {
namespace {

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
// one message ("": loads silently), and parameters survive. The nodes' own failures are their tests'.
struct ReaderCase {
    const char* description;
    const char* err;
};
const ReaderCase kReaderCases[] = {
    {"T1 = d \"a\"\nH = K \"x\"", "BayesTest cannot be initialized with NULL hypothesis\n"},
    {"H = \"x,y\"", "Wrong format in line:\n\"x,y\"\n"},
    {"H = K \"x\"\nPrice = cost \"l,h\"", "Index: 1 out of Vector bounds 0-0\n"},  // a probability line
    {"H = K \"x\"\nT1 = d \"a\"\nT1 = e \"b\"", "HashTable cannot add duplicate key: T1\n"},
    {"P(H=x) = 1\nH = K \"x\"", "Pointer is NULL\n"},
    {"H = K \"x\"\nP(T9=a|H=x) = 1", "NaiveBayesNet does not contain test with tag: T9\n"},
    {"H = K \"x,y\"\nP(H=x) = 0.5\nP(H=y) = 0.4998", "Probabilities for hypothesis sum up to: 0.9998\n"},
    {"# a\n\n   # b\n", "Network must contain a hypothesis (H)\n"},
    {"H = K \"x\"\nT = d \"a,b\"\nP(H=x) = 1\nP(T=a|H=x) = 1", "Test: T does not contain state: T=b|H=x\n"},
    {"H = K \"x,y\"\nT1 = d \"--,a-\"", ""},  // no probability lines: no sums checked
    // A tag beginning with H is a hypothesis line; a later hypothesis line replaces the earlier one,
    // and tests made before it keep theirs.
    {"H = K \"x\"\nHeight = tall \"s\"\nP(H=x) = 1", "Hypothesis does not contain state: H=s\n"},
    {"H = K \"x\"\nT1 = d \"a\"\nH = J \"y\"\nP(H=y) = 1\nP(T1=a|H=x) = 1", ""},
};

TEST(NaiveBayesNet, ReaderAndValidateChecks)
{
    NaiveBayesNet net;
    const std::string inner = "Network has not been initialized yet";
    Outcome outcome = test::Run([&] { net.Validate(); });  // Validate wraps: inner line, then wrapped
    EXPECT_EQ(outcome.message, "NaiveBayesNet check failed:\n" + inner);
    EXPECT_EQ(outcome.err, inner + "\n" + outcome.message + "\n");
    net.AddParameter("kept", 2.0);
    for (const ReaderCase& row : kReaderCases) {
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

}  // namespace
}  // namespace veltra::test
