#include <sstream>
#include <string>
#include <vector>

#include "net/NaiveBayesNet.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {
namespace {

// Every line kind: comment, parameters (tab, blanks and "=" separate), probabilities (blanks
// anywhere; a later line for a key replaces the earlier one), hypothesis and tests.
const char* const kFields =
    "# fields\n"
    "PARAMETER\tthreshold = 0.5\n"
    "PARAMETER limit=abc\n"
    R"(H = Kind " x , y "
T1 = Has digits "d,n"
T2 = Length " s , l"
P(H=x) = 0.9
P(H=x) = 0.4
P( H = y ) = 0.6
P(T1=d|H=x) = 0.7
P(T1=n|H=x) = 0.3
P(T1=d|H=y) = 0.2
P(T1=n|H=y) = 0.8
P(T2=s|H=x) = 0.5
P(T2=l|H=x) = 0.5
P(T2=s|H=y) = 0.1
P(T2=l|H=y) = 0.9
)";

// The whole of a loaded network as text: hypothesis, states with priors, tests in index order
// with their descriptions and conditional probabilities.
std::string Describe(const NaiveBayesNet& net)
{
    std::ostringstream out;
    const Hypothesis& hypothesis = *net.GetHypothesis();
    out << "H " << hypothesis.GetName() << ":";
    for (int32_t s = 0; s < hypothesis.GetStateCount(); ++s)
        out << " " << hypothesis.GetState(s) << "=" << net.GetProbability(StateKey(hypothesis.GetState(s)));
    for (int32_t t = 0; t < net.GetTestCount(); ++t) {
        const BayesTest& test = net.GetTest(t);
        out << "\n" << test.GetTag() << " (" << test.GetDescription() << "):";
        AutoPtr<Vector<String>> keys(NewObject<Vector<String>>());
        test.GetStateKeys(keys);
        for (int32_t k = 0; k < keys->Size(); ++k)
            out << " " << (*keys)[k] << "=" << net.GetProbability((*keys)[k]);
    }
    return out.str();
}

TEST(NaiveBayesNet, ReadsEveryLineKind)
{
    NaiveBayesNet net;
    Outcome outcome = test::Run([&] { net.Load(kFields); });
    ASSERT_FALSE(outcome.raised) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(Describe(net),
              "H Kind : x=0.4 y=0.6\n"
              "T1 (Has digits ): T1=d|H=x=0.7 T1=d|H=y=0.2 T1=n|H=x=0.3 T1=n|H=y=0.8\n"
              "T2 (Length ): T2=s|H=x=0.5 T2=s|H=y=0.1 T2=l|H=x=0.5 T2=l|H=y=0.9");
    EXPECT_EQ(net.GetParameter("threshold"), 0.5);
    EXPECT_EQ(net.GetParameter("limit"), 0.0);
}

TEST(NaiveBayesNet, LineEndsBlankLinesAndIndentationLoadTheSameNetwork)
{
    NaiveBayesNet reference;
    reference.Load(kFields);
    std::vector<std::string> lines;
    std::istringstream in(kFields);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    for (const char* end : {"\r\n", "\r", "\n \t\n\r\n"}) {
        std::string text;
        for (const std::string& line : lines) text += " \t" + line + end;
        NaiveBayesNet net;
        net.Load(text);
        EXPECT_EQ(Describe(net), Describe(reference)) << "line end " << testing::PrintToString(end);
    }
}

struct ReaderCase {
    const char* name;
    const char* text;
    const char* err;  // "": loads silently
};

// Load's own checks are not wrapped: each failure prints its one message.
const ReaderCase kReaderCases[] = {
    {"comments only", "# a\n\n   # b\n", "Network must contain a hypothesis (H)\n"},
    {"test before hypothesis", "T1 = d \"a\"\nH = K \"x\"",
     "BayesTest cannot be initialized with NULL hypothesis\n"},
    {"hypothesis without name", "H = \"x,y\"", "Wrong format in line:\n\"x,y\"\n"},
    {"line without =", "H = K \"x\"\nstray text", "String: stray text does not contain: =\n"},
    {"tag beginning with P", "H = K \"x\"\nPrice = cost \"l,h\"", "Index: 1 out of Vector bounds 0-0\n"},
    {"parameter without value", "PARAMETER limit", "Index: 2 out of Vector bounds 0-1\n"},
    {"duplicate state", "H = K \"x,y,x\"", "Cannot add in node duplicate value: x\n"},
    {"reserved state", "H = K \"x, -\"", "Value - is reserved, cannot add it in hypothesis\n"},
    {"reserved value", "H = K \"x\"\nT1 = d \"a,-\"", "Value - is reserved, cannot add it in node: T1\n"},
    {"duplicate tag", "H = K \"x\"\nT1 = d \"a\"\nT1 = e \"b\"", "HashTable cannot add duplicate key: T1\n"},
    {"prior before hypothesis", "P(H=x) = 1\nH = K \"x\"", "Pointer is NULL\n"},
    {"unknown tag", "H = K \"x\"\nP(T9=a|H=x) = 1", "NaiveBayesNet does not contain test with tag: T9\n"},
    {"probability above 1", "H = K \"x\"\nP(H=x) = 1.0001",
     "Probability must be in range [0,1] but it is: 1.0001\n"},
    {"hypothesis without states", "H = K \",\"\nP(H=x) = 1", "Probabilities for hypothesis sum up to: 0\n"},
    {"priors short of one", "H = K \"x,y\"\nP(H=x) = 0.5\nP(H=y) = 0.4998",
     "Probabilities for hypothesis sum up to: 0.9998\n"},
    {"prior missing", "H = K \"x,y\"\nP(H=x) = 1", "Hypothesis does not contain state: H=y\n"},
    {"conditional missing", "H = K \"x\"\nT1 = d \"a,b\"\nP(H=x) = 1\nP(T1=a|H=x) = 1",
     "Test: T1 does not contain state: T1=b|H=x\n"},
    {"conditionals short of one",
     "H = K \"x\"\nT1 = d \"a,b\"\nP(H=x) = 1\nP(T1=a|H=x) = 0.3\nP(T1=b|H=x) = 0.6",
     "Probabilities for: T1|H=x sum up to: 0.9\n"},
    {"no probability lines, no sums checked", "H = K \"x,y\"\nT1 = d \"a,b\"", ""},
    {"priors 0 and 1", "H = K \"x,y\"\nP(H=x) = 0\nP(H=y) = 1", ""},
    {"sum at the lower bound", "H = K \"x\"\nP(H=x) = 0.9999", ""},
    {"values merely containing -",
     "H = K \"x\"\nT1 = d \"--,a-\"\nP(H=x) = 1\nP(T1=--|H=x) = 1\nP(T1=a-|H=x) = 0", ""},
};

TEST(NaiveBayesNet, ReaderChecks)
{
    for (const ReaderCase& row : kReaderCases) {
        NaiveBayesNet net;
        Outcome outcome = test::Run([&] { net.Load(row.text); });
        EXPECT_EQ(outcome.raised, *row.err != '\0') << row.name;
        EXPECT_EQ(outcome.err, row.err) << row.name;
    }
}

TEST(NaiveBayesNet, TagBeginningWithHReplacesTheHypothesis)
{
    NaiveBayesNet net;
    net.Load("H = K \"x,y\"\nT1 = d \"a,b\"\nHeight = tall \"s,t\"\nT2 = e \"c\"");
    EXPECT_EQ(net.GetHypothesis()->GetName(), "tall ");
    EXPECT_EQ(net.GetHypothesis()->GetState(1), "t");
    ASSERT_EQ(net.GetTestCount(), 2);
    EXPECT_EQ(net.GetTest(0).GetHypothesis()->GetState(0), "x");  // made before: keeps the old one
    EXPECT_EQ(net.GetTest(1).GetHypothesis()->GetState(0), "s");
}

TEST(NaiveBayesNet, ReloadDeletesNodesAndKeepsParameters)
{
    NaiveBayesNet net;
    Outcome outcome = test::Run([&] {
        net.Load(kFields);
        Ptr<Hypothesis> old = net.GetHypothesis();
        net.Load("H = K \"u\"\nT9 = d \"a\"");
        EXPECT_FALSE(old.IsAlive());
    });
    EXPECT_FALSE(outcome.raised);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(net.GetTestCount(), 1);
    EXPECT_EQ(net.GetParameter("threshold"), 0.5);

    EXPECT_TRUE(RaisesExactly([&] { net.Load("# nothing left"); }, "Network must contain a hypothesis (H)"));
    EXPECT_FALSE(net.HasHypothesis());
    EXPECT_EQ(net.GetTestCount(), 0);
    EXPECT_TRUE(RaisesExactly([&] { net.AddParameter(" \t", 1.0); }, "Cannot add blank parameter"));
}

// The text is loaded first unless it is null; the message is the one that gets wrapped.
const ReaderCase kValidateFailures[] = {
    {"never loaded", nullptr, "Network has not been initialized yet"},
    {"hypothesis without tests", "H = K \"x\"\nP(H=x) = 1", "Network has not been initialized yet"},
    {"structure without probabilities", "H = K \"x,y\"\nT1 = d \"a\"",
     "Hypothesis does not contain state: H=x"},
};

TEST(NaiveBayesNet, ValidateWrapsTheFailure)
{
    for (const ReaderCase& row : kValidateFailures) {
        NaiveBayesNet net;
        if (row.text) net.Load(row.text);
        Outcome outcome = test::Run([&] { net.Validate(); });
        const std::string wrapped = std::string("NaiveBayesNet check failed:\n") + row.err;
        EXPECT_TRUE(outcome.raised) << row.name;
        EXPECT_EQ(outcome.message, wrapped) << row.name;
        EXPECT_EQ(outcome.err, row.err + ("\n" + wrapped) + "\n") << row.name;
    }
    NaiveBayesNet net;
    net.Load(kFields);
    Outcome outcome = test::Run([&] { net.Validate(); });
    EXPECT_FALSE(outcome.raised);
    EXPECT_EQ(outcome.err, "");
}

}  // namespace
}  // namespace veltra::test
