// Batch evaluation over the trained network of tests/data/training: the copied file with its
// result lines and accuracy, the progress counter, and how failing runs end.
#include <cstdio>
#include <filesystem>
#include <string>

#include "engine/FieldClassifier.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {
namespace {

std::string TrainedNetwork()
{
    return DataDir() + "/training/expected-trained.txt";
}

// The result line of ";TESTS\ta\tys" on the trained network.
const std::string kFirstResult = ";OK\ta:0.7344  b:0.1838  c:0.08184  \n";

struct Evaluation {
    Outcome outcome;
    std::string output;
};

Evaluation Evaluate(FieldClassifier& engine, const TempDir& dir, const std::string& input)
{
    std::string inputFile = dir.Write("input.txt", input);
    Evaluation e{test::Run([&] { engine.AnalyzeFile(inputFile, dir.File("output.txt")); }), ""};
    e.output = ReadFile(dir.File("output.txt"));
    return e;
}

TEST(BatchEvaluation, WritesResultLinesAndAccuracy)
{
    FieldClassifier engine;
    engine.InitializeThruFile(TrainedNetwork());
    TempDir dir;
    Evaluation e = Evaluate(engine, dir, ReadFile(DataDir() + "/batch/input.txt"));
    ASSERT_FALSE(e.outcome.raised) << e.outcome.err;
    EXPECT_EQ(e.outcome.err, "");
    EXPECT_EQ(e.output, ReadFile(DataDir() + "/batch/expected-output.txt"));

    // Eight newlines; the empty line after the last one is counted as well.
    std::string progress;
    for (int n = 1; n <= 9; ++n) progress += std::string(22, '\b') + "Line: " + std::to_string(n) + " / 8";
    EXPECT_EQ(e.outcome.out, progress + "\n\nAccuracy: 60.00 %\n\n");
}

TEST(BatchEvaluation, WithoutTestLinesTheAccuracyIsZeroOverZero)
{
    FieldClassifier engine;
    engine.InitializeThruFile(TrainedNetwork());
    TempDir dir;
    const std::string input = "# nothing to judge\n\n;TESTS\n";
    Evaluation e = Evaluate(engine, dir, input);
    ASSERT_FALSE(e.outcome.raised) << e.outcome.err;
    EXPECT_EQ(e.outcome.err, "");

    // Whatever the platform prints for not-a-number.
    volatile int32_t correct = 0;
    volatile int32_t wrong = 0;
    char accuracy[256];
    std::snprintf(accuracy, sizeof accuracy, "Accuracy: %.2f %%\n", correct * 100.0 / (wrong + correct));
    EXPECT_EQ(e.output, input + "\n" + "\n\n;" + accuracy + "\n");
}

struct FailingLine {
    const char* name;
    const char* line;
    const char* error;
};

const FailingLine kFailingLines[] = {
    {"results one long", ";TESTS\ta\tysn", "Expected 2 test results but got 3. Test results:\nysn"},
    {"undeclared value", ";TESTS\ta\tyx", "Test: Len does not contain state: Len=x|H=a"},
    {"no results field", ";TESTS\ta", "Wrong format in line:\n;TESTS\ta"},
};

TEST(BatchEvaluation, FailingLineEndsTheRun)
{
    for (const FailingLine& row : kFailingLines) {
        SCOPED_TRACE(row.name);
        FieldClassifier engine;
        engine.InitializeThruFile(TrainedNetwork());
        TempDir dir;
        const std::string head = "# head\n;TESTS\ta\tys\n";
        Evaluation e = Evaluate(engine, dir, head + row.line + "\n;TESTS\tb\tnm\n");
        EXPECT_TRUE(e.outcome.raised);
        EXPECT_EQ(e.outcome.message, row.error);
        EXPECT_EQ(e.outcome.err, std::string(row.error) + "\n");
        // What was written so far stays; no accuracy line.
        EXPECT_EQ(e.output, head + kFirstResult + row.line + "\n");
    }
}

TEST(BatchEvaluation, ReportsFilesThatCannotBeOpened)
{
    FieldClassifier engine;
    engine.InitializeThruFile(TrainedNetwork());
    TempDir dir;
    std::string input = dir.Write("input.txt", ";TESTS\ta\tys\n");
    std::string missing = dir.File("missing.txt");
    std::string unwritable = dir.File("no-dir/output.txt");

    // The input is opened first; nothing is written.
    EXPECT_TRUE(RaisesExactly([&] { engine.AnalyzeFile(missing, dir.File("output.txt")); },
                              "Cannot open file: " + missing));
    EXPECT_FALSE(std::filesystem::exists(dir.File("output.txt")));
    EXPECT_TRUE(
        RaisesExactly([&] { engine.AnalyzeFile(missing, unwritable); }, "Cannot open file: " + missing));
    EXPECT_TRUE(
        RaisesExactly([&] { engine.AnalyzeFile(input, unwritable); }, "Cannot open file: " + unwritable));
}

}  // namespace
}  // namespace veltra::test
