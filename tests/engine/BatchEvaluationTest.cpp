// Batch evaluation with the checked-in trained network: the written file and the console, the
// accuracy of no test lines, and failing runs.
#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <utility>

#include "engine/FieldClassifier.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {
namespace {

// Evaluates `in`, written to a file: the run and the output file.
std::pair<Outcome, std::string> Evaluate(const std::string& in)
{
    FieldClassifier engine;
    engine.InitializeThruFile(DataDir() + "/training/expected-trained.txt");
    TempDir dir;
    // Braced initialisers run in order: the evaluation, then reading its file.
    return {test::Run([&] { engine.AnalyzeFile(dir.Write("i", in), dir.File("o")); }),
            ReadFile(dir.File("o"))};
}

TEST(BatchEvaluation, WritesResultLinesAndAccuracy)
{
    auto [outcome, output] = Evaluate(ReadFile(DataDir() + "/batch/input.txt"));
    EXPECT_EQ(output, ReadFile(DataDir() + "/batch/expected-output.txt"));
    // Nothing on standard error; nine counter steps and the accuracy on standard output.
    EXPECT_EQ(outcome.err + outcome.out, ReadFile(DataDir() + "/batch/expected-stdout.txt"));

    // No test lines: zero over zero, not a number, printed as the platform prints it.
    EXPECT_THAT(Evaluate("# none\n\n;TESTS\n").second,
                ::testing::MatchesRegex("# none\n\n;TESTS\n\n\n\n;Accuracy: -?nan %\n\n"));
}

TEST(BatchEvaluation, FailuresEndTheRunKeepingWhatWasWritten)
{
    const std::string head = ";TESTS\ta\tys\n";
    const char* rows[][2] = {{";TESTS\ta\tysn", "Expected 2 test results but got 3. Test results:\nysn\n"},
                             {";TESTS\ta", "Wrong format in line:\n;TESTS\ta\n"}};
    for (const auto& [line, error] : rows) {
        auto [outcome, output] = Evaluate(head + line + "\n;TESTS\tb\tnm\n");
        EXPECT_EQ(outcome.err, error);
        EXPECT_EQ(output, head + ";OK\ta:0.7344  b:0.1838  c:0.08184  \n" + line + "\n");
    }
    TempDir dir;  // the input is opened first: nothing written when it is missing
    const std::string in = dir.Write("in", head), none = dir.File("none"), bad = dir.File("none/out");
    FieldClassifier engine;
    EXPECT_TRUE(RaisesExactly([&] { engine.AnalyzeFile(none, dir.File("o")); }, "Cannot open file: " + none));
    EXPECT_FALSE(std::filesystem::exists(dir.File("o")));
    EXPECT_TRUE(RaisesExactly([&] { engine.AnalyzeFile(in, bad); }, "Cannot open file: " + bad));
}

}  // namespace
}  // namespace veltra::test
