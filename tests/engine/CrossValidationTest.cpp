// Cross-validation against real training runs: each fold's probabilities are those of the engine
// trained on a file of the other folds' lines and evaluating the fold's lines, to the bit; refused
// sample lines are refused as training refuses them.
#include <algorithm>
#include <map>
#include <random>
#include <tuple>

#include "engine/CrossValidation.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {

namespace {

const std::string kNetwork =
    "# fields\nH = Kind \"a,b,c\"\nDig = Digits \"y,n\"\nLen = Length \"s,m,l\"\nSep = Separator "
    "\"x,y,z,w\"\n";

// `count` sample lines between comments and blank lines. State c is rare and never has a
// separator, so that a fold's model meets a test never observed in a state (1/v); state a has
// values it never shows (the floor) and Length l rarely; some lines of a expect b too.
std::string Samples(uint32_t seed, int count)
{
    std::mt19937 generator(seed);
    const auto random = [&] { return static_cast<uint32_t>(generator()); };
    std::string text = "# samples\n";
    for (int i = 0; i < count; ++i) {
        const uint32_t draw = random() % 100;
        const char state = draw < 60 ? 'a' : draw < 97 ? 'b' : 'c';
        std::string expected(1, state);
        if (random() % 10 == 0 && state == 'a') expected = "ab";
        const char dig = random() % 5 == 0 ? 'y' : "yn"[state == 'a' ? 0 : 1];
        const char len =
            state == 'a' ? (random() % 300 == 0 ? 'l' : "sm"[random() % 2]) : "sml"[random() % 3];
        const char sep = state == 'c' || random() % 8 == 0 ? '-' : "xyzw"[random() % (state == 'b' ? 4 : 2)];
        text += ";TESTS\t" + expected + "\t" + dig + "." + len + sep + "\n";
        if (random() % 20 == 0) text += random() % 2 ? "\n" : "  # a comment\n";
    }
    return text;
}

struct Ranking {
    int32_t fold;
    std::string states;
    std::vector<std::string> levels;  // exact values
};

Ranking Ranked(int32_t fold, int32_t count, const char* states, const double* probabilities)
{
    Ranking ranking{fold, std::string(states, static_cast<size_t>(count)), {}};
    for (int32_t i = 0; i < count; ++i) ranking.levels.push_back(Bits(probabilities[i]));
    return ranking;
}

struct Verdicts final : FoldVerdicts, JudgedLines {
    std::map<int64_t, Ranking> byLine;
    std::vector<int64_t> evaluated;  // the original line of each line of the evaluated file
    int32_t fold = 0;
    void Verdict(int32_t f, int64_t line, std::string_view, std::string_view, int32_t count,
                 const char* states, const double* probabilities) override
    {
        EXPECT_TRUE(byLine.emplace(line, Ranked(f, count, states, probabilities)).second) << line;
    }
    void Judged(int64_t line, std::string_view, std::string_view, int32_t count, const char* states,
                const double* probabilities) override
    {
        byLine[evaluated[static_cast<size_t>(line - 1)]] = Ranked(fold, count, states, probabilities);
    }
};

std::vector<std::string> Lines(const std::string& text)
{
    std::vector<std::string> lines;
    for (size_t at = 0; at < text.size();) {
        const size_t end = text.find('\n', at);
        lines.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return lines;
}

}  // namespace

TEST(CrossValidation, EachFoldIsTheTrainingRunOnTheOtherFolds)
{
    // network: the plain description, or a trained file whose probability lines the folds' replace.
    const std::tuple<bool, uint32_t, int32_t, uint64_t, bool> rows[] = {
        {false, 1, 5, 1, false}, {false, 2, 3, 7, true}, {true, 3, 10, 42, false}, {false, 4, 2, 0, false}};
    for (const auto& [trainedNetwork, sampleSeed, folds, seed, stratified] : rows) {
        SCOPED_TRACE(testing::Message() << sampleSeed << " " << folds << " " << seed);
        TempDir dir;
        std::string network = dir.Write("network.txt", kNetwork);
        const std::string samples = Samples(sampleSeed, 400), samplesFile = dir.Write("samples.txt", samples);
        if (trainedNetwork) {
            FieldClassifier first;
            test::Run([&] { first.Train(network, samplesFile, dir.File("trained.txt"), false); });
            network = dir.File("trained.txt");
        }

        HostEngine engine;
        Verdicts crossValidated;
        std::vector<int64_t> right(static_cast<size_t>(folds)), wrong(right);
        CrossValidation run(engine, {folds, seed, stratified, false}, nullptr);
        const Outcome outcome = test::Run([&] {
            run.Read(String(network), String(samplesFile));
            run.Run(&crossValidated, right.data(), wrong.data());
        });
        ASSERT_FALSE(outcome.raised) << outcome.message;
        EXPECT_EQ(crossValidated.byLine.size(), 400u);
        // Afterwards the engine holds the description as loaded from its file.
        HostEngine loaded;
        loaded.LoadFile(String(network));
        EXPECT_EQ(engine.GetNetwork().GetLoadFacts().probabilityLines,
                  loaded.GetNetwork().GetLoadFacts().probabilityLines);
        EXPECT_EQ(engine.GetNetwork().GetLoadFacts().smallestConditional,
                  loaded.GetNetwork().GetLoadFacts().smallestConditional);

        // Each fold's lines against a training run on a file of the other folds' lines.
        const std::vector<std::string> lines = Lines(samples);
        Verdicts trained;
        size_t smallest = SIZE_MAX, largest = 0;
        for (int32_t fold = 0; fold < folds; ++fold) {
            std::string others, judged;
            trained.fold = fold;
            trained.evaluated.clear();
            for (size_t i = 0; i < lines.size(); ++i) {
                const auto found = crossValidated.byLine.find(static_cast<int64_t>(i + 1));
                if (found == crossValidated.byLine.end() || found->second.fold != fold) {
                    others += lines[i] + "\n";
                } else {
                    judged += lines[i] + "\n";
                    trained.evaluated.push_back(static_cast<int64_t>(i + 1));
                }
            }
            FieldClassifier reference;
            reference.SetJudgedLines(&trained);
            test::Run([&] {
                reference.Train(network, dir.Write("others.txt", others), dir.File("fold.txt"), false);
                reference.AnalyzeFile(dir.Write("judged.txt", judged), dir.File("judged-out.txt"));
            });
            // Each fold's model meets a test never observed in a state, and the floor.
            const std::string model = ReadFile(dir.File("fold.txt"));
            EXPECT_NE(model.find("P(Sep=w|H=c) = 0.250000"), std::string::npos);
            EXPECT_NE(model.find(") = 0.001000"), std::string::npos);
            EXPECT_EQ(reference.GetTally().correct, right[static_cast<size_t>(fold)]);
            EXPECT_EQ(reference.GetTally().wrong, wrong[static_cast<size_t>(fold)]);
            smallest = std::min(smallest, trained.evaluated.size());
            largest = std::max(largest, trained.evaluated.size());
        }
        for (const auto& [line, ranking] : crossValidated.byLine) {
            const Ranking& expected = trained.byLine[line];
            EXPECT_EQ(ranking.fold, expected.fold) << line;
            EXPECT_EQ(ranking.states, expected.states) << line;
            EXPECT_EQ(ranking.levels, expected.levels) << line;
        }
        // Blocks of K lines: the folds differ by one line at most (by one per stratum).
        EXPECT_LE(largest - smallest, stratified ? 4u : 1u);
    }
}

TEST(CrossValidation, FoldsDependOnTheSeedAlone)
{
    // Three folds, lines alternately of two strata: every block of three lines of a stratum goes to
    // the three folds; the same seed draws the same folds again, another seed others.
    const std::tuple<uint64_t, bool> rows[] = {{0, false}, {1, false}, {0, true}};
    std::vector<std::string> drawn;
    for (const auto& [seed, stratified] : rows) {
        FoldAssigner assigner(3, seed, stratified), again(3, seed, stratified);
        std::string order[2], sequence, repeated;
        for (int i = 0; i < 300; ++i) {
            sequence += static_cast<char>('0' + assigner.Next(i % 2 ? "a" : "b"));
            order[stratified ? i % 2 : 0] += sequence.back();
            repeated += static_cast<char>('0' + again.Next(i % 2 ? "a" : "b"));
        }
        for (const std::string& lines : order)
            for (size_t block = 0; block + 3 <= lines.size(); block += 3) {
                std::string folds = lines.substr(block, 3);
                std::sort(folds.begin(), folds.end());
                EXPECT_EQ(folds, "012");
            }
        EXPECT_EQ(sequence, repeated);
        drawn.push_back(sequence);
    }
    EXPECT_NE(drawn[0], drawn[1]);
    // The generator's arithmetic: the first numbers from seeds 0 and 1234567.
    SplitMix64 zero(0), other(1234567);
    EXPECT_EQ(zero.Next(), 0xE220A8397B1DCDAFull);
    EXPECT_EQ(other.Next(), 6457827717110365317ull);
}

TEST(CrossValidation, RefusesSamplesAsTrainingDoes)
{
    const char* const rows[] = {
        ";TESTS\ta\ty.sx\n;TESTS\tb\tnm\n",
        ";TESTS\ta\ty.sx\n\n;TESTS\tq\tnmx\n",
        ";TESTS\ta\tysq\n",
        ";TESTS\ta\n",
    };
    for (const char* samples : rows) {
        SCOPED_TRACE(samples);
        TempDir dir;
        const std::string network = dir.Write("network.txt", kNetwork),
                          file = dir.Write("samples.txt", samples);
        FieldClassifier trained;
        const Outcome training = test::Run([&] { trained.Train(network, file, dir.File("out.txt"), false); });
        HostEngine engine;
        CrossValidation run(engine, {}, nullptr);
        const Outcome crossValidation = test::Run([&] { run.Read(String(network), String(file)); });
        ASSERT_TRUE(training.raised);
        EXPECT_EQ(crossValidation.message, training.message);
        EXPECT_EQ(engine.GetPlace().file, trained.GetPlace().file);
        EXPECT_EQ(engine.GetPlace().line, trained.GetPlace().line);
    }
}

}  // namespace veltra::test
