// Training runs: the trained network file and its reload, the console report, the sample-line and
// count-line grammars, the probability floor, and what each failing run leaves behind.
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "engine/FieldClassifier.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {
namespace {

const std::string kDatePrefix = "# Date of training: ";
const std::string kSmallNetwork =
    "H = Category \"a,b\"\nDig = Has digits\"y,n\"\nLen = Length class\"s,m,l\"\n";

// The text with the training date cut out of its line.
std::string WithoutDate(std::string text)
{
    size_t at = text.find(kDatePrefix);
    if (at == std::string::npos) return text;
    at += kDatePrefix.size();
    return text.erase(at, text.find('\n', at) - at);
}

// The non-zero counts of the engine's count table in table order, "key:count" separated by blanks.
std::string NonZeroCounts(const BayesianEngine& engine)
{
    std::string text;
    Ptr<Vector<String>> keys = engine.GetCountTable().GetKeys();
    for (int32_t i = 0; i < keys->Size(); ++i) {
        int32_t count = engine.GetCountTable().Get((*keys)[i]).m_value;
        if (count != 0) text += (text.empty() ? "" : " ") + (*keys)[i].str() + ":" + std::to_string(count);
    }
    return text;
}

void ExpectRaised(const Outcome& outcome, const std::string& message)
{
    EXPECT_TRUE(outcome.raised);
    EXPECT_EQ(outcome.message, message);
    EXPECT_EQ(outcome.err, message + "\n");
}

// Trains on the checked-in network and samples, writing dir/trained.txt.
Outcome TrainOnData(FieldClassifier& engine, const TempDir& dir)
{
    return test::Run([&] {
        engine.Train(DataDir() + "/training/network.txt", DataDir() + "/training/samples.txt",
                     dir.File("trained.txt"), false);
    });
}

// Trains kSmallNetwork on `samples`, written to a file of their own.
Outcome TrainSmall(FieldClassifier& engine, const TempDir& dir, const std::string& samples, bool counts)
{
    std::string network = dir.Write("network.txt", kSmallNetwork);
    std::string sampleFile = dir.Write("samples.txt", samples);
    return test::Run([&] { engine.Train(network, sampleFile, dir.File("trained.txt"), counts); });
}

TEST(Training, WritesTheTrainedFileAndReportsOnTheConsole)
{
    FieldClassifier engine;
    TempDir dir;
    Outcome outcome = TrainOnData(engine, dir);
    ASSERT_FALSE(outcome.raised) << outcome.err;
    EXPECT_EQ(outcome.err, "");

    std::string got = ReadFile(dir.File("trained.txt"));
    std::string want = ReadFile(DataDir() + "/training/expected-trained.txt");
    EXPECT_EQ(WithoutDate(got), WithoutDate(want));
    EXPECT_EQ(got.size(), want.size());  // the date in ctime's fixed 24 characters

    // Eight lines are neither blank nor comments; the file holds ten newlines.
    std::string report;
    for (int n = 1; n <= 8; ++n) report += std::string(23, '\b') + "Line: " + std::to_string(n) + " / 10";
    report +=
        "\n"
        "WARNING: found 0 count for state: Dig=n|H=a\n"
        "WARNING: found 0 count for state: Len=s|H=c\n"
        "******WARNING****** Found 0 count for state: H=c,Len!=-\n"
        "WARNING: found 0 count for state: Len=m|H=a\n"
        "WARNING: found 0 count for state: Len=m|H=c\n"
        "******WARNING****** Found 0 count for state: H=c,Len!=-\n"
        "WARNING: found 0 count for state: Len=l|H=a\n"
        "WARNING: found 0 count for state: Len=l|H=b\n"
        "WARNING: found 0 count for state: Len=l|H=c\n"
        "******WARNING****** Found 0 count for state: H=c,Len!=-\n"
        "End of training.\n"
        "Number of sample lists processed: 1\n"
        "Total sample count: 8\n";
    EXPECT_EQ(outcome.out, report);
}

TEST(Training, TrainedFileGivesBackItsProbabilities)
{
    FieldClassifier trained;
    TempDir dir;
    ASSERT_FALSE(TrainOnData(trained, dir).raised);
    FieldClassifier fresh;
    fresh.InitializeThruFile(dir.File("trained.txt"));

    int probabilityLines = 0;
    std::istringstream written(ReadFile(dir.File("trained.txt")));
    for (std::string line; std::getline(written, line);) {
        if (line.rfind("P(", 0) != 0) continue;
        ++probabilityLines;
        String key = line.substr(2, line.find(") = ") - 2);
        double stated = std::atof(line.c_str() + line.find(") = ") + 4);
        EXPECT_EQ(trained.GetNetwork().GetProbability(key), stated) << line;
        EXPECT_EQ(fresh.GetNetwork().GetProbability(key), stated) << line;
    }
    EXPECT_EQ(probabilityLines, 3 + 15);

    // Classifying with the reloaded file gives the checked-in batch results.
    Outcome batch =
        test::Run([&] { fresh.AnalyzeFile(DataDir() + "/batch/input.txt", dir.File("batch.txt")); });
    ASSERT_FALSE(batch.raised) << batch.err;
    EXPECT_EQ(batch.err, "");
    EXPECT_EQ(ReadFile(dir.File("batch.txt")), ReadFile(DataDir() + "/batch/expected-output.txt"));
}

struct LineRow {
    const char* name;
    const char* samples;
    const char* counts;  // non-zero counts afterwards
    const char* error;   // exact message, or "" for a run that succeeds
};

// Lines offered to a training run of kSmallNetwork (states a, b; tests Dig y/n, Len s/m/l).
const LineRow kSampleLines[] = {
    {"two states", ";TESTS\tab\ty-", "H=a:1 H=b:1 Dig=y|H=a:1 Dig=y|H=b:1 H=a,Dig!=-:1 H=b,Dig!=-:1", ""},
    {"state listed twice", ";TESTS\taa\tn-", "H=a:2 Dig=n|H=a:2 H=a,Dig!=-:2", ""},
    {"full stops and runs of tabs", ";TESTS\t\tb\t\t.n..m.",
     "H=b:1 Dig=n|H=b:1 Len=m|H=b:1 H=b,Dig!=-:1 H=b,Len!=-:1", ""},
    {"marker alone", ";TESTS", "", ""},
    {"indented comment", "  \t# ;TESTS\ta\tys", "", ""},
    {"no results field", ";TESTS\tab", "", "Wrong format in line:\n;TESTS\tab"},
    {"empty states field", ";TESTS\t\tys", "", "Wrong format in line:\n;TESTS\t\tys"},
    {"fourth field", ";TESTS\ta\tys\tn", "", "Wrong format in line:\n;TESTS\ta\tys\tn"},
    {"results one short", ";TESTS\ta\ty", "", "Expected 2 test results but got 1 Results:y\n"},
    {"results one long", ";TESTS\ta\ty.s.n", "", "Expected 2 test results but got 3 Results:ysn\n"},
    {"undeclared value", ";TESTS\ta\tyx", "H=a:1 Dig=y|H=a:1 H=a,Dig!=-:1",
     "Hashtable cannot find key: Len=x|H=a"},
    {"undeclared state", ";TESTS\tz\tys", "", "Hashtable cannot find key: H=z"},
};

// Count lines, read when the counts flag is set.
const LineRow kCountLines[] = {
    {"existing key", "C(H=a) = 7", "H=a:7", ""},
    {"trimmed line", "\t C(H=b,Dig!=-) = 2 \nC(Dig=n|H=b) = 2", "Dig=n|H=b:2 H=b,Dig!=-:2", ""},
    {"middle token not examined", "C(H=b) : 2", "H=b:2", ""},
    {"written count line is a comment", "# C(H=a) = 7", "", ""},
    {"two tokens", "C(H=a) 7", "", "Wrong format for input line: C(H=a) 7"},
    {"other prefix", "X(H=a) = 7", "", "Wrong format for input line: X(H=a) = 7"},
    {"two blanks", "C(H=a)  = 7", "", "Wrong format for input line: C(H=a)  = 7"},
    {"counts kept up to the bad line", "C(H=a) = 7\nC(H=b)=1", "H=a:7",
     "Wrong format for input line: C(H=b)=1"},
    {"undeclared key", "C(H=z) = 1", "", "Hashtable cannot find key: H=z"},
    {"count not a number", "C(H=a) = 7x", "", "Cannot convert string: >7x< to integer"},
};

template <size_t N>
void WalkLineRows(const LineRow (&rows)[N], bool counts)
{
    for (const LineRow& row : rows) {
        SCOPED_TRACE(row.name);
        FieldClassifier engine;
        TempDir dir;
        Outcome outcome = TrainSmall(engine, dir, std::string(row.samples) + "\n", counts);
        std::string output = ReadFile(dir.File("trained.txt"));
        if (*row.error) {
            ExpectRaised(outcome, row.error);
            // Only the copy of the network description was written.
            EXPECT_EQ(output, kSmallNetwork + "\n");
        } else {
            EXPECT_FALSE(outcome.raised) << outcome.err;
            EXPECT_EQ(outcome.err, "");
            bool samplesFound = !counts && *row.counts;
            EXPECT_NE(output.find(std::string("# Number of sample lists: ") + (samplesFound ? "1" : "0")),
                      std::string::npos);
        }
        EXPECT_EQ(NonZeroCounts(engine), row.counts);
    }
}

TEST(Training, ReadsSampleLines)
{
    WalkLineRows(kSampleLines, false);
}

TEST(Training, ReadsCountLines)
{
    WalkLineRows(kCountLines, true);
}

TEST(Training, InconsistentCountStopsBeforeTheProbabilities)
{
    FieldClassifier engine;
    TempDir dir;
    Outcome outcome = TrainSmall(engine, dir, "C(Dig=y|H=b) = 4\n", true);
    ExpectRaised(outcome, "Count number for state: Dig=y|H=b should be 0");
    EXPECT_EQ(NonZeroCounts(engine), "Dig=y|H=b:4");
    // The file ends with the count table: no probabilities.
    std::string output = ReadFile(dir.File("trained.txt"));
    std::string end = "\n# C(H=b,Len!=-) = 0\n";
    ASSERT_GE(output.size(), end.size());
    EXPECT_EQ(output.substr(output.size() - end.size()), end);
}

struct OpenRow {
    const char* name;
    bool network, samples, output;  // whether each can be opened
    int reported;                   // the file the message names: 0 network, 1 samples, 2 output
};

const OpenRow kOpenFailures[] = {
    {"network file before sample file", false, false, true, 0},
    {"sample file before output file", true, false, false, 1},
    {"output file", true, true, false, 2},
};

TEST(Training, ReportsFilesThatCannotBeOpened)
{
    for (const OpenRow& row : kOpenFailures) {
        SCOPED_TRACE(row.name);
        FieldClassifier engine;
        TempDir dir;
        std::string names[] = {
            row.network ? dir.Write("network.txt", kSmallNetwork) : dir.File("no-network.txt"),
            row.samples ? dir.Write("samples.txt", ";TESTS\ta\tys\n") : dir.File("no-samples.txt"),
            row.output ? dir.File("trained.txt") : dir.File("no-dir/trained.txt")};
        Outcome outcome = test::Run([&] { engine.Train(names[0], names[1], names[2], false); });
        ExpectRaised(outcome, "Cannot open file: " + names[row.reported]);
        EXPECT_EQ(outcome.out, "");
        EXPECT_FALSE(std::filesystem::exists(dir.File("trained.txt")));
        EXPECT_FALSE(engine.GetNetwork().HasHypothesis());
    }
}

struct FloorRow {
    const char* name;
    std::vector<std::pair<const char*, double>> entries;
    std::vector<double> expected;
};

const FloorRow kFloorRows[] = {
    {"raised from the largest", {{"T=x|H=a", 0.9995}, {"T=y|H=a", 0.0005}}, {0.999, 0.001}},
    {"floor itself kept", {{"T=x|H=a", 0.999}, {"T=y|H=a", 0.001}}, {0.999, 0.001}},
    {"tie takes from the lower index",
     {{"T=x|H=a", 0.4998}, {"T=y|H=a", 0.4998}, {"T=z|H=a", 0.0004}},
     {0.4992, 0.4998, 0.001}},
    {"fresh search per raised entry",
     {{"T=w|H=a", 0.5}, {"T=x|H=a", 0.5}, {"T=y|H=a", 0.0}, {"T=z|H=a", 0.0}},
     {0.499, 0.499, 0.001, 0.001}},
    {"other tests and states untouched",
     {{"T=x|H=a", 0.6}, {"T=x|H=b", 0.9}, {"U=x|H=a", 0.9}, {"T=y|H=a", 0.0004}},
     {0.5994, 0.9, 0.9, 0.001}},
};

TEST(Training, ProbabilityFloor)
{
    FieldClassifier engine;
    for (const FloorRow& row : kFloorRows) {
        SCOPED_TRACE(row.name);
        HashTable<Double> table;
        for (const auto& entry : row.entries) table.Add(entry.first, Double(entry.second));
        engine.ApplyProbabilityFloor(table);
        for (size_t i = 0; i < row.entries.size(); ++i)
            EXPECT_NEAR(table.Get(row.entries[i].first).m_value, row.expected[i], 1e-12)
                << row.entries[i].first;
    }
}

}  // namespace
}  // namespace veltra::test
