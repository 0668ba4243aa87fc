#include "cli/Explain.h"

#include <algorithm>
#include <cstdio>

#include "cli/Engine.h"
#include "cli/TestEffect.h"

namespace veltra::cli {

namespace {

void PrintExplanation(const std::string& given, const std::string& results, const Classification& all,
                      const std::vector<TestEffect>& effects, const NetworkView& view, int tag)
{
    std::printf("%s\n", given.c_str());
    for (size_t i = 0; i < all.states.size(); ++i)
        std::printf("  %c %7.2f %%\n", all.states[i], all.probabilities[i] * 100.0);
    if (effects.empty()) {
        std::printf("  No test observed: nothing to leave out.\n");
        return;
    }
    const char winner = all.states[0];
    std::printf("  Observed tests left out one at a time, largest effect on %c first:\n", winner);
    std::printf("  %3s  %-*s  %-6s  %9s  %7s  %-14s  %s\n", "#", tag, "Test", "Result",
                (std::string(1, winner) + " without").c_str(), "Change", "Winner without", "Description");
    for (const TestEffect& effect : effects) {
        const TestView* test = effect.test < view.tests.size() ? &view.tests[effect.test] : nullptr;
        const std::string verdict =
            std::string(1, effect.winner) + (effect.winner != winner ? " (changes)" : "");
        std::printf("  %3zu  %-*s  %-6c  %7.2f %%  %+7.2f  %-14s  %s\n", effect.test + 1, tag,
                    test ? test->tag.c_str() : "?", results[effect.test], effect.without * 100.0,
                    effect.change, verdict.c_str(), test ? test->description.c_str() : "");
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
        std::vector<TestEffect> effects;
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
