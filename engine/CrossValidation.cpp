#include "engine/CrossValidation.h"

#include <algorithm>
#include <exception>

namespace veltra {

uint64_t SplitMix64::Next()
{
    uint64_t z = (m_state += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

uint64_t SplitMix64::Below(uint64_t n)
{
    // 2^64 mod n, in 64-bit arithmetic: (2^64 - n) mod n.
    const uint64_t rest = (0 - n) % n;
    for (;;) {
        const uint64_t x = Next();
        if (x >= rest) return x % n;
    }
}

namespace {

// FNV-1a of a stratum's text, which seeds its shuffles together with the run's seed.
uint64_t TextHash(std::string_view text)
{
    uint64_t hash = 14695981039346656037ull;
    for (char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211ull;
    return hash;
}

}  // namespace

FoldAssigner::FoldAssigner(int32_t folds, uint64_t seed, bool stratified)
    : m_folds(folds), m_seed(seed), m_stratified(stratified)
{
}

int32_t FoldAssigner::Next(std::string_view expected)
{
    const std::string_view key = m_stratified ? expected : std::string_view();
    auto found = m_strata.find(std::string(key));
    if (found == m_strata.end()) {
        const size_t folds = static_cast<size_t>(m_folds);
        found =
            m_strata.emplace(std::string(key), Stratum{SplitMix64(m_seed ^ TextHash(key)), {}, folds}).first;
        found->second.order.resize(folds);
    }
    Stratum& stratum = found->second;
    if (stratum.next == stratum.order.size()) {
        // A new block: the folds in the order of a Fisher-Yates shuffle of 0 .. K-1.
        for (size_t i = 0; i < stratum.order.size(); ++i) stratum.order[i] = static_cast<int32_t>(i);
        for (size_t i = stratum.order.size(); i > 1; --i)
            std::swap(stratum.order[i - 1], stratum.order[stratum.random.Below(i)]);
        stratum.next = 0;
    }
    return stratum.order[stratum.next++];
}

RunProgress::RunProgress() : m_host(CurrentConsoleSink()), m_scope(m_host ? this : nullptr) {}

RunProgress::~RunProgress() = default;

void RunProgress::Expect(int64_t passes, int64_t testLines)
{
    m_passes = passes;
    m_lines = testLines;
    m_expected = true;
}

void RunProgress::Progress(int64_t done, int64_t total)
{
    // While the samples are read, their test lines are taken to be as many as the file's lines.
    m_read = total;
    if (!m_expected) m_lines = total;
    m_host->Progress(done, m_read + m_passes * m_lines);
}

void RunProgress::Advance(int64_t lines)
{
    m_done += lines;
    if (!m_host) return;
    const int64_t total = m_read + m_passes * m_lines, done = std::min(m_read + m_done, total);
    if (m_done - m_told < 4096 && done < total) return;
    m_told = m_done;
    m_host->Progress(done, total);
}

void RunProgress::Finish()
{
    const int64_t total = m_read + m_passes * m_lines;
    if (m_host && m_read + m_done < total) {
        m_done = total - m_read;
        m_host->Progress(total, total);
    }
}

CrossValidation::CrossValidation(HostEngine& engine, const Options& options, RunProgress* progress)
    : m_engine(engine),
      m_options(options),
      m_progress(progress),
      m_assigner(options.folds, options.seed, options.stratified)
{
}

std::string_view CrossValidation::Expected(int32_t line) const
{
    const Line& l = m_lines[static_cast<size_t>(line)];
    return std::string_view(m_texts).substr(l.text, l.expected);
}

std::string_view CrossValidation::Results(int32_t line) const
{
    const Line& l = m_lines[static_cast<size_t>(line)];
    return std::string_view(m_texts).substr(l.text + l.expected, l.results);
}

void CrossValidation::Read(const String& networkFile, const String& sampleFile)
{
    if (m_options.folds < 2) VELTRA_RAISE("Fewer than 2 folds: ", m_options.folds);
    m_engine.LoadFile(networkFile, &m_network);
    m_lines.clear();
    m_texts.clear();
    m_foldLines.assign(static_cast<size_t>(m_options.folds), {});
    m_models.assign(static_cast<size_t>(m_options.folds), {});
    m_total.assign(static_cast<size_t>(m_engine.CountEntries()) + 1, 0);
    struct Listen {
        HostEngine& engine;
        ~Listen() { engine.SetSampleLines(nullptr); }
    } listen{m_engine};
    m_engine.SetSampleLines(this);
    m_engine.CountInto(m_total.data(), [&] { m_engine.CountSampleFile(sampleFile); });

    Ptr<Vector<String>> keys = m_engine.GetCountTable().GetKeys();
    m_entryOf.clear();
    for (int32_t i = 0; i < keys->Size(); ++i) m_entryOf[(*keys)[i].str()] = static_cast<size_t>(i);
}

void CrossValidation::Counted(int64_t line, std::string_view expected, std::string_view results)
{
    const size_t index = m_lines.size();
    m_lines.push_back({line, m_texts.size(), static_cast<uint32_t>(expected.size()),
                       static_cast<uint32_t>(results.size())});
    m_texts.append(expected);
    m_texts.append(results);
    m_foldLines[static_cast<size_t>(m_assigner.Next(expected))].push_back(static_cast<int32_t>(index));
}

int64_t CrossValidation::TotalCount(const std::string& key) const
{
    const auto found = m_entryOf.find(key);
    return found == m_entryOf.end() ? 0 : m_total[found->second];
}

void CrossValidation::LoadModel(int32_t fold)
{
    std::string& kept = m_models[static_cast<size_t>(fold)];
    if (!kept.empty()) {
        m_engine.LoadText(String(kept));
        return;
    }
    // The fold's counts, taken from the total: what a training run on every other fold counts.
    std::vector<int64_t> counts(m_total.size(), 0);
    m_engine.CountInto(counts.data(), [&] {
        for (int32_t line : FoldLines(fold)) m_engine.CountSamples(Expected(line), Results(line));
    });
    for (size_t i = 0; i < counts.size(); ++i) counts[i] = m_total[i] - counts[i];
    // What a training run writes and reloads: the description as read, then comment sections
    // (its counts, its figures), which change nothing when it is reloaded, and the probabilities.
    std::string model = m_network + m_engine.ProbabilitySection(counts.data());
    m_engine.LoadText(String(model));
    if (m_options.keepModels) kept = std::move(model);
}

void CrossValidation::Restore()
{
    m_engine.LoadText(String(m_network));
}

void CrossValidation::Run(FoldVerdicts* verdicts, int64_t* right, int64_t* wrong)
{
    const int32_t states = m_engine.GetNetwork().GetHypothesis().GetStateCount();
    std::vector<char> ranked(static_cast<size_t>(std::max(states, 1)));
    std::vector<double> levels(ranked.size());
    try {
        for (int32_t fold = 0; fold < m_options.folds; ++fold) {
            int64_t judged[2] = {0, 0};  // wrong, right
            LoadModel(fold);
            for (int32_t line : FoldLines(fold)) {
                const bool isRight =
                    m_engine.JudgeFresh(Results(line), Expected(line), ranked.data(), levels.data(), states);
                ++judged[isRight ? 1 : 0];
                if (verdicts)
                    verdicts->Verdict(fold, LineNumber(line), Expected(line), Results(line), states,
                                      ranked.data(), levels.data());
                if (m_progress) m_progress->Advance(1);
            }
            if (right) right[fold] = judged[1];
            if (wrong) wrong[fold] = judged[0];
        }
    } catch (...) {
        // The description back where it can be: a failure that reloading it would repeat, or no
        // memory left, leaves what the failed load left.
        try {
            Restore();
        } catch (const TrapException&) {
        } catch (const std::exception&) {
        }
        throw;
    }
    Restore();
}

}  // namespace veltra
