// Test selection on generated samples of known strength: noise tests go first and carry no
// information, a duplicated test carries its original's, and a step's figures are those of
// cross-validating the network restricted to the step's tests.
#include <algorithm>
#include <cmath>
#include <random>

#include "engine/TestSelection.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {

namespace {

// Tests in results order: noise, strong, noise, weak, the strong one again, noise.
const char* const kTags[] = {"N1", "S1", "N2", "S2", "D1", "N3"};

std::string Description(const std::vector<int32_t>& tests)
{
    std::string text = "H = Kind \"a,b,c\"\n";
    for (int32_t t : tests)
        text +=
            std::string(kTags[t]) + " = " + kTags[t] + (kTags[t][0] == 'N' ? " \"x,y,z\"\n" : " \"p,q,r\"\n");
    return text;
}

// Sample lines whose results keep only `tests` (all six when empty).
std::string Samples(const std::vector<int32_t>& tests)
{
    std::mt19937 generator(11);
    const auto random = [&](uint32_t n) { return static_cast<uint32_t>(generator() % n); };
    std::string text;
    for (int i = 0; i < 900; ++i) {
        const uint32_t state = random(3);
        // A test of strength k% shows its state's value k times in a hundred, else any value.
        const auto shown = [&](uint32_t strength) {
            return "pqr"[random(100) < strength ? state : random(3)];
        };
        char all[] = {"xyz"[random(3)], shown(70), "xyz"[random(3)], shown(55), '-', "xyz"[random(3)]};
        for (char& result : all) result = random(20) ? result : '-';
        all[4] = all[1];
        std::string results;
        for (int32_t t = 0; t < 6; ++t)
            if (tests.empty() || std::count(tests.begin(), tests.end(), t)) results += all[t];
        text += ";TESTS\t" + std::string(1, "abc"[state]) + "\t" + results + "\n";
    }
    return text;
}

// Cross-validation of the description of `tests` on the samples cut to them: right lines and the
// summed log loss, as the selection sums it.
std::pair<int64_t, double> CrossValidated(const std::vector<int32_t>& tests)
{
    struct Loss final : FoldVerdicts {
        int64_t right = 0;
        double loss = 0.0;
        void Verdict(int32_t, int64_t, std::string_view expected, std::string_view, int32_t count,
                     const char* states, const double* probabilities) override
        {
            const bool isRight = expected.find(states[0]) != std::string_view::npos;
            right += isRight;
            double truth = isRight ? probabilities[0] : 0.0;
            for (int32_t i = 0; !isRight && i < count; ++i)
                if (states[i] == expected[0]) truth = probabilities[i];
            loss -= std::log(std::max(truth, 1e-15));
        }
    } verdicts;
    TempDir dir;
    HostEngine engine;
    CrossValidation run(engine, {5, 3, false, false}, nullptr);
    test::Run([&] {
        run.Read(String(dir.Write("n", Description(tests))), String(dir.Write("s", Samples(tests))));
        run.Run(&verdicts, nullptr, nullptr);
    });
    return {verdicts.right, verdicts.loss};
}

}  // namespace

TEST(TestSelection, DropsNoiseFirstAndReportsWhatCrossValidationGives)
{
    TempDir dir;
    const std::string network = dir.Write("n", Description({0, 1, 2, 3, 4, 5})),
                      samples = dir.Write("s", Samples({}));
    for (const bool forward : {false, true}) {
        SCOPED_TRACE(forward ? "forward" : "backward");
        HostEngine engine;
        SelectionOptions options;
        options.folds = {5, 3, false, false};
        options.forward = forward;
        Selection selection;
        const Outcome run = test::Run(
            [&] { selection = SelectTests(engine, String(network), String(samples), options, nullptr); });
        ASSERT_FALSE(run.raised) << run.message;
        ASSERT_EQ(selection.steps.size(), forward ? 7u : 6u);

        std::string order;  // the tests in the order dropped (or added)
        for (size_t s = 1; s < selection.steps.size(); ++s) order += kTags[selection.steps[s].test];
        // Forward: the strong test (its duplicate ties it, the earlier goes), then the weak one,
        // which adds more than the duplicate. Backward: the noise first, then one of the twins;
        // the other outlasts the weak test.
        if (forward)
            EXPECT_EQ(order.substr(0, 4), "S1S2") << order;
        else
            EXPECT_TRUE(order.substr(0, 6).find_first_not_of("N123") == std::string::npos &&
                        order.substr(6) == "S1S2")
                << order;

        // Every step's figures, the chosen set's among them, are cross-validation's of its tests.
        std::vector<int32_t> set;
        for (int32_t t = 0; t < 6; ++t) set.push_back(t);
        if (forward) set.clear();
        for (const SelectionStep& step : selection.steps) {
            if (step.test >= 0 && forward)
                set.insert(std::lower_bound(set.begin(), set.end(), step.test), step.test);
            if (step.test >= 0 && !forward) set.erase(std::find(set.begin(), set.end(), step.test));
            if (set.empty()) continue;
            const auto [right, loss] = CrossValidated(set);
            EXPECT_EQ(step.right, right) << step.test;
            EXPECT_EQ(step.right + step.wrong, 900);
            EXPECT_EQ(Bits(step.logLoss), Bits(loss / 900)) << step.test;
            if (&step == &selection.steps[static_cast<size_t>(selection.chosen)]) {
                EXPECT_EQ(selection.kept, set);
            }
        }
    }
}

TEST(TestSelection, PerTestFigures)
{
    TempDir dir;
    const std::string network = dir.Write("n", Description({0, 1, 2, 3, 4, 5})),
                      samples = dir.Write("s", Samples({}));
    HostEngine engine;
    SelectionOptions options;
    options.folds = {5, 3, false, false};
    options.keep = 4;
    Selection selection;
    test::Run([&] { selection = SelectTests(engine, String(network), String(samples), options, nullptr); });
    ASSERT_EQ(selection.steps.size(), 3u);
    EXPECT_EQ(selection.chosen, 2);
    EXPECT_EQ(selection.kept.size(), 4u);
    const std::vector<TestScore>& tests = selection.tests;
    ASSERT_EQ(tests.size(), 6u);
    // The duplicate carries exactly its original's information; noise next to none.
    EXPECT_EQ(tests[1].mutualInformation, tests[4].mutualInformation);
    EXPECT_GT(tests[1].mutualInformation, tests[3].mutualInformation);
    for (size_t t : {0, 2, 5}) EXPECT_LT(tests[t].mutualInformation, 0.02);
    EXPECT_GT(tests[3].mutualInformation, 0.1);
    // Without the weak test, fewer lines are right: it is the only other evidence.
    EXPECT_LT(tests[3].rightWithout, selection.steps[0].right);
    const auto [right, loss] = CrossValidated({0, 1, 2, 4, 5});
    EXPECT_EQ(tests[3].rightWithout, right);
    EXPECT_EQ(Bits(tests[3].logLossWithout), Bits(loss / 900));
    // Refused: more tests kept than the network has.
    options.keep = 7;
    EXPECT_TRUE(
        RaisesExactly([&] { SelectTests(engine, String(network), String(samples), options, nullptr); },
                      "Cannot keep 7 tests: the network has 6"));
}

}  // namespace veltra::test
