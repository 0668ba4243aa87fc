#include "cli/TestEffect.h"

#include <algorithm>
#include <cmath>

namespace veltra::cli {

double Classification::Of(char state) const
{
    for (size_t i = 0; i < states.size(); ++i)
        if (states[i] == state) return probabilities[i];
    return 0.0;
}

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

bool LeaveEachOut(const Engine& engine, const std::string& results, size_t capacity,
                  const Classification& all, std::vector<TestEffect>& effects)
{
    const double top = all.probabilities[0];
    Classification other;
    for (size_t t = 0; t < results.size(); ++t) {
        if (results[t] == '-') continue;
        std::string without = results;
        without[t] = '-';
        if (!Classify(engine, without, capacity, other)) return false;
        const double probability = other.Of(all.states[0]);
        effects.push_back({t, probability, other.states[0], (probability - top) * 100.0});
    }
    std::stable_sort(effects.begin(), effects.end(), [](const TestEffect& a, const TestEffect& b) {
        return std::fabs(a.change) > std::fabs(b.change);
    });
    return true;
}

bool AddContributions(const Engine& engine, const std::string& results, int64_t lines, size_t capacity,
                      std::vector<TestContribution>& contributions)
{
    Classification all;
    std::vector<TestEffect> effects;
    if (!Classify(engine, results, capacity, all) || !LeaveEachOut(engine, results, capacity, all, effects))
        return false;
    for (const TestEffect& effect : effects) {
        if (effect.test >= contributions.size()) continue;
        TestContribution& contribution = contributions[effect.test];
        contribution.observed += lines;
        contribution.changeSum += static_cast<double>(lines) * std::fabs(effect.change);
        if (effect.winner != all.states[0]) contribution.winnerChanges += lines;
    }
    return true;
}

}  // namespace veltra::cli
