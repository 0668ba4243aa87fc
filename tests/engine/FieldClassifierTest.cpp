// The engine's ranking of the states for one line of results and the sort it relies on, and batch
// evaluation with the checked-in trained network: the written file and the console, the accuracy
// of no test lines, and lines that end a run. (Files that cannot be opened: FileSafety.)
#include <gmock/gmock.h>

#include <cmath>
#include <utility>
#include <vector>

#include "engine/DubiousData.h"
#include "engine/FieldClassifier.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {

// Evaluates `in`, written to a file: the run and the output file.
static std::pair<Outcome, std::string> Evaluate(const std::string& in)
{
    FieldClassifier engine;
    engine.InitializeThruFile(VELTRA_TEST_DATA_DIR "/training/expected-trained.txt");
    TempDir dir;
    // Braced initialisers run in order: the evaluation, then reading its file.
    return {test::Run([&] { engine.AnalyzeFile(dir.Write("i", in), dir.File("o")); }),
            ReadFile(dir.File("o"))};
}

// The input with LF or CR LF line ends. Nothing on standard error; nine counter steps and the
// accuracy on standard output.
TEST(BatchEvaluation, WritesResultLinesAndAccuracy)
{
    for (const std::string end : {"\n", "\r\n"}) {
        std::string input = ReadFile(VELTRA_TEST_DATA_DIR "/batch/input.txt");
        for (size_t at = 0; (at = input.find('\n', at)) != std::string::npos; at += end.size())
            input.replace(at, 1, end);
        auto [outcome, output] = Evaluate(input);
        EXPECT_EQ(output, ReadFile(VELTRA_TEST_DATA_DIR "/batch/expected-output.txt"));
        EXPECT_EQ(outcome.err + outcome.out, ReadFile(VELTRA_TEST_DATA_DIR "/batch/expected-stdout.txt"));
    }
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
}

// The entries of a ranking in index order: "[x 0.75][z 0.2]".
static std::string Entries(DubiousDataList& list)
{
    std::ostringstream out;
    auto keys = list.GetKeys();
    for (int i = 0; i < keys->Size(); ++i)
        out << "[" << (*keys)[i].str() << " " << list.Get((*keys)[i])->m_figure << "]";
    return out.str();
}

// Full stops are removed; standard error stays empty (no failure, no "Memory leak detected!").
TEST(FieldClassifier, MostProbableFirst)
{
    FieldClassifier engine;
    engine.InitializeThruFile(VELTRA_TEST_DATA_DIR "/three-states.net");
    std::string ranking;
    const auto rank = [&](const char* results) {
        ranking += Entries(*AutoPtr<DubiousDataList>(engine.Analyze(results, false)));
    };
    EXPECT_EQ(test::Run([&] { rank("..a.b.-c."), rank("ab-b"); }).err, "");
    EXPECT_EQ(ranking, "[x 0.75][z 0.2][y 0.05][y 0.383333][x 0.333333][z 0.283333]");
}

TEST(DubiousData, SortByDecreasingFigureKeepsTheOrderOfEqualFigures)
{
    DubiousDataList list;
    list.m_deleteItems = true;
    for (const auto& [value, figure] : {std::pair("A", 0.2), std::pair("B", 0.7), std::pair("C", 0.7),
                                        std::pair("D", 0.1), std::pair("E", 0.9)})
        list.Add(value, Ptr<DubiousData>(NewObject<DubiousData>(value, figure)));
    SortDubiousDataList(list);
    EXPECT_EQ(Entries(list), "[E 0.9][B 0.7][C 0.7][A 0.2][D 0.1]");  // equal figures keep their order
}

// The ranking of every count of figures (counted two at a time up to 32, inserted beyond, selected
// with NaN) against its definition: repeatedly the earliest of the largest remaining figures.
TEST(DubiousData, RankByFigureTakesTheEarliestLargestFigureInTurn)
{
    const double kFigures[] = {0.5, 0.0, 0.25, 0.5, 1.0, 0.0, 0.125, 0.25, -0.0, 0.75};
    for (const bool withNan : {false, true})
        for (int32_t count = 1; count <= 40; ++count) {
            std::vector<double> figures;
            for (int32_t i = 0; i < count; ++i) figures.push_back(kFigures[(i * 7 + count) % 10]);
            if (withNan) figures[static_cast<size_t>(count / 2)] = std::nan("");
            std::vector<int32_t> expected, left(figures.size()), order(figures.size());
            for (size_t i = 0; i < left.size(); ++i) left[i] = static_cast<int32_t>(i);
            while (!left.empty()) {
                size_t best = 0;
                for (size_t i = 1; i < left.size(); ++i)
                    if (figures[static_cast<size_t>(left[i])] > figures[static_cast<size_t>(left[best])])
                        best = i;
                expected.push_back(left[best]);
                left.erase(left.begin() + static_cast<std::ptrdiff_t>(best));
            }
            RankByFigure(figures.data(), count, order.data());
            EXPECT_EQ(order, expected) << count << (withNan ? " with NaN" : "");
        }
}

}  // namespace veltra::test
