#include "cli/Evaluation.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>

namespace veltra::cli {

Evaluation::Evaluation(const std::vector<std::string>& states) : m_names(states), m_states(states.size())
{
    // The library names each state by its first character.
    std::fill(std::begin(m_stateOf), std::end(m_stateOf), -1);
    std::fill(std::begin(m_unknownOf), std::end(m_unknownOf), -1);
    for (size_t s = 0; s < states.size(); ++s)
        m_stateOf[static_cast<unsigned char>(states[s].empty() ? '\0' : states[s][0])] =
            static_cast<int32_t>(s);
    m_confusion.assign(m_states, std::vector<int64_t>(m_states, 0));
}

namespace {

// FNV-1a: results texts are short, and differ in any of their characters.
uint64_t HashOf(std::string_view text)
{
    uint64_t hash = 14695981039346656037ull;
    for (char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211ull;
    return hash;
}

}  // namespace

int32_t Evaluation::FindField(std::string_view results, uint64_t hash) const
{
    if (m_slots.empty()) return -1;
    const size_t mask = m_slots.size() - 1;
    for (size_t slot = hash & mask;; slot = (slot + 1) & mask) {
        const int32_t field = m_slots[slot];
        if (field < 0) return -1;
        const size_t f = static_cast<size_t>(field);
        if (m_hashes[f] == hash && std::string_view(m_texts).substr(
                                       m_textStarts[f], m_textStarts[f + 1] - m_textStarts[f]) == results)
            return field;
    }
}

void Evaluation::IndexField(std::string_view results, uint64_t hash)
{
    const int32_t field = static_cast<int32_t>(m_hashes.size());
    m_hashes.push_back(hash);
    if (m_textStarts.empty()) m_textStarts.push_back(0);
    m_texts.append(results);
    m_textStarts.push_back(m_texts.size());
    if ((m_hashes.size() - m_modelStart) * 2 > m_slots.size()) {
        m_slots.assign(std::max<size_t>(1024, m_slots.size() * 2), -1);
        for (size_t f = m_modelStart; f < m_hashes.size(); ++f) {
            size_t slot = m_hashes[f] & (m_slots.size() - 1);
            while (m_slots[slot] >= 0) slot = (slot + 1) & (m_slots.size() - 1);
            m_slots[slot] = static_cast<int32_t>(f);
        }
        return;
    }
    size_t slot = hash & (m_slots.size() - 1);
    while (m_slots[slot] >= 0) slot = (slot + 1) & (m_slots.size() - 1);
    m_slots[slot] = field;
}

void Evaluation::StartModel()
{
    m_modelStart = m_hashes.size();
    std::fill(m_slots.begin(), m_slots.end(), -1);
}

int32_t Evaluation::Field(std::string_view results, int32_t count, const char* states,
                          const double* probabilities)
{
    const uint64_t hash = HashOf(results);
    const int32_t known = FindField(results, hash);
    if (known >= 0) return known;

    if (static_cast<size_t>(count) != m_states || m_states == 0) return -1;
    const size_t first = m_probabilities.size();
    m_probabilities.resize(first + m_states, 0.0);
    for (size_t i = 0; i < m_states; ++i) {
        const int32_t s = m_stateOf[static_cast<unsigned char>(states[i])];
        if (s < 0) {
            m_probabilities.resize(first);
            return -1;
        }
        m_probabilities[first + static_cast<size_t>(s)] = probabilities[i];
    }
    const int32_t field = static_cast<int32_t>(m_winners.size());
    m_winners.push_back(m_stateOf[static_cast<unsigned char>(states[0])]);
    m_lineCounts.resize(m_lineCounts.size() + m_states + 1, 0);
    IndexField(results, hash);
    return field;
}

size_t Evaluation::ExpectedRow(unsigned char state)
{
    if (m_stateOf[state] >= 0) return static_cast<size_t>(m_stateOf[state]);
    if (m_unknownOf[state] < 0) {
        m_unknownOf[state] = static_cast<int32_t>(m_unknown.size());
        m_unknown.emplace_back(1, static_cast<char>(state));
        m_confusion.emplace_back(m_states, 0);
    }
    return m_states + static_cast<size_t>(m_unknownOf[state]);
}

void Evaluation::Judge(std::string_view expected, std::string_view results, int32_t count, const char* states,
                       const double* probabilities, int64_t line)
{
    const int32_t field = Field(results, count, states, probabilities);
    if (field < 0 || expected.empty()) return;
    const size_t winner = static_cast<size_t>(m_winners[static_cast<size_t>(field)]);
    // Right when the most probable state is any one of the expected states, as the library judges.
    bool right = false;
    for (char state : expected)
        if (m_stateOf[static_cast<unsigned char>(state)] == static_cast<int32_t>(winner)) right = true;
    const size_t row = right ? winner : ExpectedRow(static_cast<unsigned char>(expected[0]));
    ++m_confusion[row][winner];
    ++m_lineCounts[static_cast<size_t>(field) * (m_states + 1) + std::min(row, m_states)];
    if (right) return;
    // The library's ranking of this very line: its first two states.
    Misclassified miss;
    miss.line = line;
    miss.expected.assign(expected);
    miss.results.assign(results);
    miss.winner = states[0];
    miss.probability = probabilities[0];
    if (count > 1) {
        miss.runnerUp = states[1];
        miss.runnerUpProbability = probabilities[1];
    }
    m_misclassified.push_back(std::move(miss));
}

void Evaluation::ForEachField(
    const std::function<void(const std::string& results, int64_t lines)>& each) const
{
    for (size_t f = 0; f < m_winners.size(); ++f) {
        int64_t lines = 0;
        for (size_t s = 0; s <= m_states; ++s) lines += m_lineCounts[f * (m_states + 1) + s];
        if (lines > 0) each(m_texts.substr(m_textStarts[f], m_textStarts[f + 1] - m_textStarts[f]), lines);
    }
}

EvaluationFigures Evaluation::Figures() const
{
    EvaluationFigures figures;
    CountStates(figures);
    RateStates(figures);
    if (figures.lines > 0) ScoreProbabilities(figures);
    return figures;
}

void Evaluation::CountStates(EvaluationFigures& figures) const
{
    const size_t n = m_states, rows = m_confusion.size();
    figures.networkStates = n;
    figures.confusion = m_confusion;
    figures.states.resize(rows);
    // Names: the network's states, then the expected states it does not know.
    for (size_t s = 0; s < n; ++s) figures.states[s].name = m_names[s];
    for (size_t u = 0; u < m_unknown.size(); ++u) figures.states[n + u].name = m_unknown[u];
    for (StateFigures& state : figures.states) state.label = state.name;
    figures.misclassified = m_misclassified;
    for (size_t s = 0; s < rows; ++s)
        for (size_t p = 0; p < n; ++p) {
            figures.states[s].support += m_confusion[s][p];
            figures.states[p].predicted += m_confusion[s][p];
        }
}

void Evaluation::RateStates(EvaluationFigures& figures) const
{
    const size_t n = m_states, rows = m_confusion.size();
    size_t used = 0;
    for (size_t s = 0; s < rows; ++s) {
        StateFigures& state = figures.states[s];
        const int64_t hits = s < n ? m_confusion[s][s] : 0;
        figures.lines += state.support;
        figures.right += hits;
        if (state.predicted > 0)
            state.precision = {static_cast<double>(hits) / static_cast<double>(state.predicted), true};
        if (state.support > 0)
            state.recall = {static_cast<double>(hits) / static_cast<double>(state.support), true};
        const double sum = state.precision.value + state.recall.value;
        state.f1 = sum > 0.0 ? 2.0 * state.precision.value * state.recall.value / sum : 0.0;
        if (state.support == 0 && state.predicted == 0) continue;
        ++used;
        figures.macro.precision += state.precision.value;
        figures.macro.recall += state.recall.value;
        figures.macro.f1 += state.f1;
        const double weight = static_cast<double>(state.support);
        figures.weighted.precision += weight * state.precision.value;
        figures.weighted.recall += weight * state.recall.value;
        figures.weighted.f1 += weight * state.f1;
    }
    if (used > 0) {
        const double u = static_cast<double>(used);
        figures.macro = {figures.macro.precision / u, figures.macro.recall / u, figures.macro.f1 / u};
    }
    if (figures.lines == 0) return;
    const double lines = static_cast<double>(figures.lines);
    figures.weighted = {figures.weighted.precision / lines, figures.weighted.recall / lines,
                        figures.weighted.f1 / lines};
}

void Evaluation::ScoreProbabilities(EvaluationFigures& figures) const
{
    // Per field: every line of it has the same probabilities, so its lines are summed by true state.
    const size_t n = m_states;
    double logLoss = 0.0, brier = 0.0;
    for (size_t f = 0; f < m_winners.size(); ++f) {
        const double* p = &m_probabilities[f * n];
        const int32_t* counts = &m_lineCounts[f * (n + 1)];
        double squares = 0.0;
        int64_t fieldLines = 0;
        for (size_t s = 0; s < n; ++s) squares += p[s] * p[s];
        for (size_t s = 0; s <= n; ++s) {
            if (counts[s] == 0) continue;
            const double truth = s < n ? p[s] : 0.0;
            const double k = static_cast<double>(counts[s]);
            logLoss -= k * std::log(std::max(truth, kSmallestProbability));
            brier += k * (squares - 2.0 * truth + 1.0);
            fieldLines += counts[s];
        }
        const size_t winner = static_cast<size_t>(m_winners[f]);
        const double top = p[winner];
        CalibrationBin& bin =
            figures.calibration[std::min(kCalibrationBins - 1, static_cast<int>(top * kCalibrationBins))];
        bin.lines += fieldLines;
        bin.right += counts[winner];
        bin.probabilitySum += static_cast<double>(fieldLines) * top;
    }
    figures.logLoss = logLoss / static_cast<double>(figures.lines);
    figures.brier = brier / static_cast<double>(figures.lines);
}

}  // namespace veltra::cli
