#include "cli/Evaluation.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>

namespace veltra::cli {

Evaluation::Evaluation(const Engine& engine, const std::vector<std::string>& states)
    : m_engine(engine),
      m_names(states),
      m_states(states.size()),
      m_categories(states.size()),
      m_ranked(states.size())
{
    // Analyze names each state by its first character.
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
    if (m_hashes.size() * 2 > m_slots.size()) {
        m_slots.assign(std::max<size_t>(1024, m_slots.size() * 2), -1);
        for (size_t f = 0; f < m_hashes.size(); ++f) {
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

void Evaluation::Reserve(size_t fields, size_t textBytes)
{
    m_probabilities.reserve(fields * m_states);
    m_lineCounts.reserve(fields * (m_states + 1));
    m_winners.reserve(fields);
    m_hashes.reserve(fields);
    m_textStarts.reserve(fields + 1);
    m_texts.reserve(textBytes);
}

int32_t Evaluation::Field(std::string_view results)
{
    const uint64_t hash = HashOf(results);
    const int32_t known = FindField(results, hash);
    if (known >= 0) return known;

    m_key.assign(results.data(), results.size());
    int32_t count = static_cast<int32_t>(m_states);
    if (Analyze(m_engine.get(), m_key.c_str(), m_categories.data(), m_ranked.data(), &count) != 0 ||
        static_cast<size_t>(count) != m_states || m_states == 0)
        return -1;
    const size_t first = m_probabilities.size();
    m_probabilities.resize(first + m_states, 0.0);
    for (size_t i = 0; i < m_states; ++i) {
        const int32_t s = m_stateOf[static_cast<unsigned char>(m_categories[i])];
        if (s < 0) return -1;
        m_probabilities[first + static_cast<size_t>(s)] = m_ranked[i];
    }
    const int32_t field = static_cast<int32_t>(m_winners.size());
    m_winners.push_back(m_stateOf[static_cast<unsigned char>(m_categories[0])]);
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

bool Evaluation::Judge(std::string_view expected, std::string_view results)
{
    const int32_t field = Field(results);
    if (field < 0 || expected.empty()) return false;
    const size_t winner = static_cast<size_t>(m_winners[static_cast<size_t>(field)]);
    // Right when the most probable state is any one of the expected states, as the library judges.
    bool right = false;
    for (char state : expected)
        if (m_stateOf[static_cast<unsigned char>(state)] == static_cast<int32_t>(winner)) right = true;
    const size_t row = right ? winner : ExpectedRow(static_cast<unsigned char>(expected[0]));
    ++m_confusion[row][winner];
    ++m_lineCounts[static_cast<size_t>(field) * (m_states + 1) + std::min(row, m_states)];
    return true;
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

namespace {

// The fields of a test line as the library cuts them: runs of tabs separate. Returns the number
// of fields and keeps the first three.
size_t CutFields(std::string_view line, std::string_view* fields)
{
    size_t count = 0, at = 0;
    while (true) {
        at = line.find_first_not_of('\t', at);
        if (at == std::string_view::npos) break;
        size_t end = line.find('\t', at);
        if (end == std::string_view::npos) end = line.size();
        if (count < 3) fields[count] = line.substr(at, end - at);
        ++count;
        at = end;
    }
    return count;
}

}  // namespace

bool ForEachLine(std::FILE* file, const std::function<bool(std::string_view line, bool ended)>& each)
{
    std::vector<char> block(1 << 16);
    std::string pending;  // the start of a line that goes on in the next block
    size_t got;
    while ((got = std::fread(block.data(), 1, block.size(), file)) > 0) {
        const char* at = block.data();
        const char* const end = at + got;
        for (;;) {
            const char* newline =
                static_cast<const char*>(std::memchr(at, '\n', static_cast<size_t>(end - at)));
            if (!newline) {
                pending.append(at, end);
                if (pending.size() > 1024 && !each(pending, false)) return false;
                break;
            }
            bool ok;
            if (pending.empty()) {
                ok = each(std::string_view(at, static_cast<size_t>(newline - at)), true);
            } else {
                pending.append(at, newline);
                ok = each(pending, true);
                pending.clear();
            }
            if (!ok) return false;
            at = newline + 1;
        }
    }
    return std::ferror(file) || pending.empty() || each(pending, false);
}

const char* RefusedLine(std::string_view& line, bool ended)
{
    if (ended && !line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.size() > 1023) return "the line is longer than 1023 bytes";
    if (line.find('\0') != std::string_view::npos) return "the line holds a zero byte";
    return nullptr;
}

bool JudgeFile(Evaluation& evaluation, const std::string& input, const char* command,
               const std::string& network)
{
    std::FILE* file = std::fopen(input.c_str(), "rb");
    if (!file) {
        std::fprintf(stderr, "veltra %s: cannot open %s\n", command, input.c_str());
        return false;
    }
    // A file of N bytes holds fewer than N / 11 test lines (";TESTS\tx\ty\n"). Room reserved and
    // never touched costs nothing; past a million fields the index grows as it needs.
    std::error_code error;
    const uintmax_t size =
        std::filesystem::is_regular_file(input, error) ? std::filesystem::file_size(input, error) : 0;
    if (!error && size > 0)
        evaluation.Reserve(static_cast<size_t>(std::min<uintmax_t>(size / 11 + 1, 1 << 20)),
                           static_cast<size_t>(std::min<uintmax_t>(size / 2, 1 << 24)));
    int64_t number = 0;
    const char* problem = nullptr;
    const bool ok = ForEachLine(file, [&](std::string_view line, bool ended) {
        ++number;
        if ((problem = RefusedLine(line, ended))) return false;
        if (line.compare(0, 7, ";TESTS\t") != 0) return true;
        std::string_view fields[3];
        if (CutFields(line, fields) < 3)
            return (problem = "a test line needs expected states and test results"), false;
        if (!evaluation.Judge(fields[1], fields[2])) return (problem = "the line does not fit"), false;
        return true;
    });
    const bool unread = ok && std::ferror(file);
    std::fclose(file);
    if (ok && !unread) return true;
    std::fflush(stdout);
    if (unread)
        std::fprintf(stderr, "veltra %s: cannot read %s\n", command, input.c_str());
    else if (std::strcmp(problem, "the line does not fit") == 0)
        std::fprintf(stderr, "veltra %s: %s, line %" PRId64 ": the line does not fit %s\n", command,
                     input.c_str(), number, network.c_str());
    else
        std::fprintf(stderr, "veltra %s: %s, line %" PRId64 ": %s\n", command, input.c_str(), number,
                     problem);
    return false;
}

}  // namespace veltra::cli
