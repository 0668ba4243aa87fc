#include "cli/Explain.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "cli/Engine.h"

namespace veltra::cli {

namespace {

struct Classification {
    std::vector<char> states;
    std::vector<double> probabilities;

    double Of(char state) const
    {
        for (size_t i = 0; i < states.size(); ++i)
            if (states[i] == state) return probabilities[i];
        return 0.0;
    }
};

bool Classify(const Engine& engine, const std::string& results, size_t capacity, Classification& answer)
{
    answer.states.assign(capacity, '\0');
    answer.probabilities.assign(capacity, 0.0);
    int32_t count = static_cast<int32_t>(capacity);
    if (veltra_engine_classify(engine.get(), results.c_str(), answer.states.data(),
                               answer.probabilities.data(), &count) != VELTRA_OK ||
        count <= 0)
        return false;
    answer.states.resize(static_cast<size_t>(count));
    answer.probabilities.resize(static_cast<size_t>(count));
    return true;
}

struct Effect {
    size_t test;     // position in the results
    double without;  // the probability of the most probable state without the test
    char winner;     // the most probable state without the test
};

// The effect of leaving each observed test out of `results`, largest first (equal effects in
// results order). False when a classification fails.
bool LeaveEachOut(const Engine& engine, const std::string& results, size_t capacity,
                  const Classification& all, std::vector<Effect>& effects)
{
    for (size_t t = 0; t < results.size(); ++t) {
        if (results[t] == '-') continue;
        std::string without = results;
        without[t] = '-';
        Classification other;
        if (!Classify(engine, without, capacity, other)) return false;
        effects.push_back({t, other.Of(all.states[0]), other.states[0]});
    }
    const double top = all.probabilities[0];
    std::stable_sort(effects.begin(), effects.end(), [&](const Effect& a, const Effect& b) {
        return std::fabs(a.without - top) > std::fabs(b.without - top);
    });
    return true;
}

void PrintExplanation(const std::string& given, const std::string& results, const Classification& all,
                      const std::vector<Effect>& effects, const NetworkView& view, int tag)
{
    std::printf("%s\n", given.c_str());
    for (size_t i = 0; i < all.states.size(); ++i)
        std::printf("  %c %7.2f %%\n", all.states[i], all.probabilities[i] * 100.0);
    if (effects.empty()) {
        std::printf("  No test observed: nothing to leave out.\n");
        return;
    }
    const char winner = all.states[0];
    const double top = all.probabilities[0];
    std::printf("  Observed tests left out one at a time, largest effect on %c first:\n", winner);
    std::printf("  %3s  %-*s  %-6s  %9s  %7s  %-14s  %s\n", "#", tag, "Test", "Result",
                (std::string(1, winner) + " without").c_str(), "Change", "Winner without", "Description");
    for (const Effect& effect : effects) {
        const TestView* test = effect.test < view.tests.size() ? &view.tests[effect.test] : nullptr;
        const std::string verdict =
            std::string(1, effect.winner) + (effect.winner != winner ? " (changes)" : "");
        std::printf("  %3zu  %-*s  %-6c  %7.2f %%  %+7.2f  %-14s  %s\n", effect.test + 1, tag,
                    test ? test->tag.c_str() : "?", results[effect.test], effect.without * 100.0,
                    (effect.without - top) * 100.0, verdict.c_str(), test ? test->description.c_str() : "");
    }
}

}  // namespace

int Explain(const std::vector<std::string>& args, bool quiet)
{
    Console console("explain", quiet);
    Engine engine(console);
    if (!engine.LoadTrained(args[0])) return 1;
    const NetworkView view = engine.View();
    const size_t capacity = std::max<size_t>(view.states.size(), 1);
    size_t tagWidth = 4;
    for (const TestView& test : view.tests) tagWidth = std::max(tagWidth, test.tag.size());

    int failures = 0;
    bool first = true;
    auto explain = [&](const std::string& given, const std::string& where) {
        std::string results;
        for (char c : given)
            if (c != '.') results += c;
        Classification all;
        std::vector<Effect> effects;
        if (!Classify(engine, results, capacity, all) ||
            !LeaveEachOut(engine, results, capacity, all, effects)) {
            engine.Failed({}, where);
            ++failures;
            return;
        }
        if (!first) std::printf("\n");
        first = false;
        PrintExplanation(given, results, all, effects, view, static_cast<int>(tagWidth));
    };
    if (!ForEachResults(args, console, &failures, explain)) return 1;
    return failures == 0 ? 0 : 1;
}

}  // namespace veltra::cli
