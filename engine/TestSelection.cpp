#include "engine/TestSelection.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <string>

#include "net/ProbabilityKey.h"

namespace veltra {

namespace {

constexpr double kSmallestProbability = 1e-15;
// No value: a result "-". A test has at most 255 values, one per character but "-".
constexpr uint8_t kNone = 255;

// A set of tests: one flag per test, in results order.
using TestSet = std::vector<char>;

int32_t Size(const TestSet& set)
{
    return static_cast<int32_t>(std::count(set.begin(), set.end(), 1));
}

// The figures of one set of tests over every test line.
struct Tally {
    int64_t right = 0;
    int64_t wrong = 0;
    double loss = 0.0;  // the sum of -ln p of the true state
};

// Better: more lines right, then a lower log loss.
bool Better(const Tally& a, const Tally& b)
{
    return a.right != b.right ? a.right > b.right : a.loss < b.loss;
}

class Selector {
public:
    Selector(HostEngine& engine, CrossValidation& folds) : m_engine(engine), m_folds(folds) {}

    void Prepare();
    std::vector<TestScore> Scores(const Tally& all, const std::vector<Tally>& without) const;
    // Judges every line with each of `sets` through the engine, fold model by fold model.
    std::vector<Tally> Judge(const std::vector<TestSet>& sets);
    // The candidate whose dropping (or adding) from `set` the log domain finds best.
    int32_t Choose(const TestSet& set, bool adding);

    int32_t Tests() const { return m_tests; }

private:
    // Per candidate, over every line: right lines and, with `loss`, the summed log loss.
    void Scan(const TestSet& set, const std::vector<int32_t>& candidates, bool adding, bool loss,
              std::vector<Tally>& tallies) const;

    HostEngine& m_engine;
    CrossValidation& m_folds;
    int32_t m_tests = 0;
    int32_t m_states = 0;
    std::vector<std::string> m_stateNames;
    std::vector<uint8_t> m_valueOf;  // test * 256 + result character: its value, kNone for none
    std::vector<size_t> m_firstRow;  // test: the row of its first value
    std::vector<String> m_keys;      // row * states + state: the conditional key
    // The test lines fold after fold, fold f's from m_begin[f] to m_begin[f + 1].
    std::vector<size_t> m_begin;
    std::vector<int32_t> m_line;    // the line of each position
    std::vector<uint8_t> m_values;  // position * tests + test: the value of its result, kNone for "-"
    size_t m_words = 1;
    std::vector<uint64_t> m_expected;  // position * words: bit s set when state s is expected
    std::vector<int32_t> m_first;      // the state of the first expected character, -1 for none
    // Per fold, the logarithms of the model's priors and of its probabilities, by row and state.
    std::vector<std::vector<double>> m_prior, m_log;
};

void Selector::Prepare()
{
    const NaiveBayesNet& network = m_engine.GetNetwork();
    const Hypothesis& hypothesis = network.GetHypothesis();
    m_tests = network.GetTestCount();
    m_states = hypothesis.GetStateCount();
    const size_t states = static_cast<size_t>(m_states), tests = static_cast<size_t>(m_tests);
    m_stateNames.clear();
    for (int32_t s = 0; s < m_states; ++s) m_stateNames.push_back(hypothesis.GetState(s).str());

    m_valueOf.assign(tests * 256, kNone);
    m_firstRow.clear();
    m_keys.clear();
    int32_t rows = 0;
    for (int32_t t = 0; t < m_tests; ++t) {
        const BayesTest& test = network.GetTest(t);
        m_firstRow.push_back(static_cast<size_t>(rows));
        for (int32_t v = 0; v < test.GetValueCount(); ++v, ++rows) {
            const String& value = test.GetValue(v);
            // (A test of more values than that, the rest of more than one character, has its
            // further values scored as no result: only the choice of candidates can differ.)
            if (value.Length() == 1 && v < kNone)
                m_valueOf[static_cast<size_t>(t) * 256 + static_cast<unsigned char>(value[0])] =
                    static_cast<uint8_t>(v);
            for (const std::string& state : m_stateNames)
                m_keys.push_back(test.MakeKey(StateKey(String(state)), value));
        }
    }

    m_words = (states + 63) / 64;
    m_begin.assign(1, 0);
    m_line.clear();
    m_values.clear();
    m_expected.clear();
    m_first.clear();
    for (int32_t fold = 0; fold < m_folds.GetFolds(); ++fold) {
        for (int32_t line : m_folds.FoldLines(fold)) {
            m_line.push_back(line);
            const std::string_view results = m_folds.Results(line), expected = m_folds.Expected(line);
            for (size_t t = 0; t < tests; ++t)
                m_values.push_back(
                    t < results.size() ? m_valueOf[t * 256 + static_cast<unsigned char>(results[t])] : kNone);
            // Expected as the engine judges a line: the state's name is in the expected states.
            m_expected.resize(m_expected.size() + m_words, 0);
            uint64_t* bits = &m_expected[m_expected.size() - m_words];
            int32_t first = -1;
            for (size_t s = 0; s < states; ++s) {
                if (expected.find(m_stateNames[s]) != std::string_view::npos)
                    bits[s / 64] |= uint64_t{1} << (s % 64);
                if (first < 0 && m_stateNames[s] == expected.substr(0, 1)) first = static_cast<int32_t>(s);
            }
            m_first.push_back(first);
        }
        m_begin.push_back(m_line.size());
    }

    // The fold models, as loaded.
    m_prior.assign(static_cast<size_t>(m_folds.GetFolds()), std::vector<double>(states));
    m_log.assign(m_prior.size(), std::vector<double>(m_keys.size()));
    const auto logarithm = [](double p) { return std::log(std::max(p, 1e-300)); };
    for (int32_t fold = 0; fold < m_folds.GetFolds(); ++fold) {
        m_folds.LoadModel(fold);
        std::vector<double>& prior = m_prior[static_cast<size_t>(fold)];
        std::vector<double>& log = m_log[static_cast<size_t>(fold)];
        for (size_t s = 0; s < states; ++s)
            prior[s] = logarithm(network.GetProbability(StateKey(String(m_stateNames[s]))));
        for (size_t k = 0; k < m_keys.size(); ++k) log[k] = logarithm(network.GetProbability(m_keys[k]));
    }
}

std::vector<TestScore> Selector::Scores(const Tally& all, const std::vector<Tally>& without) const
{
    const NaiveBayesNet& network = m_engine.GetNetwork();
    const size_t states = static_cast<size_t>(m_states);
    std::vector<TestScore> scores(static_cast<size_t>(m_tests));
    const double lines = static_cast<double>(m_line.size());
    for (int32_t t = 0; t < m_tests; ++t) {
        TestScore& score = scores[static_cast<size_t>(t)];
        const Tally& tally = without[static_cast<size_t>(t)];
        score.rightWithout = tally.right;
        score.wrongWithout = tally.wrong;
        score.logLossWithout = m_line.empty() ? 0.0 : tally.loss / lines;
        score.accuracyDrop = m_line.empty() ? 0.0 : static_cast<double>(all.right - tally.right) / lines;
        // The test's value against the state, over the samples that observed it.
        const BayesTest& test = network.GetTest(t);
        const size_t values = static_cast<size_t>(test.GetValueCount());
        std::vector<double> joint(values * states), ofValue(values), ofState(states);
        double n = 0.0;
        for (size_t v = 0; v < values; ++v)
            for (size_t s = 0; s < states; ++s) {
                const double count = static_cast<double>(m_folds.TotalCount(
                    test.MakeKey(StateKey(String(m_stateNames[s])), test.GetValue(static_cast<int32_t>(v)))
                        .str()));
                joint[v * states + s] = count;
                ofValue[v] += count;
                ofState[s] += count;
                n += count;
            }
        double information = 0.0;
        for (size_t v = 0; v < values; ++v)
            for (size_t s = 0; s < states; ++s)
                if (const double count = joint[v * states + s]; count > 0.0)
                    information += count / n * std::log2(count * n / (ofValue[v] * ofState[s]));
        score.mutualInformation = std::max(information, 0.0);
    }
    return scores;
}

std::vector<Tally> Selector::Judge(const std::vector<TestSet>& sets)
{
    std::vector<Tally> tallies(sets.size());
    const size_t states = static_cast<size_t>(m_states);
    std::vector<char> ranked(std::max<size_t>(states, 1));
    std::vector<double> levels(ranked.size());
    std::string masked;
    for (int32_t fold = 0; fold < m_folds.GetFolds(); ++fold) {
        m_folds.LoadModel(fold);
        for (int32_t line : m_folds.FoldLines(fold)) {
            const std::string_view results = m_folds.Results(line), expected = m_folds.Expected(line);
            for (size_t k = 0; k < sets.size(); ++k) {
                masked.assign(results);
                for (size_t t = 0; t < masked.size() && t < sets[k].size(); ++t)
                    if (!sets[k][t]) masked[t] = '-';
                const bool right =
                    m_engine.JudgeFresh(masked, expected, ranked.data(), levels.data(), m_states);
                // The true state: the most probable one when expected, else the first expected.
                double truth = right ? levels[0] : 0.0;
                for (size_t i = 0; !right && i < states; ++i)
                    if (ranked[i] == expected[0]) {
                        truth = levels[i];
                        break;
                    }
                Tally& tally = tallies[k];
                ++(right ? tally.right : tally.wrong);
                tally.loss -= std::log(std::max(truth, kSmallestProbability));
            }
            if (RunProgress* progress = m_folds.GetProgress())
                progress->Advance(static_cast<int64_t>(sets.size()));
        }
    }
    return tallies;
}

void Selector::Scan(const TestSet& set, const std::vector<int32_t>& candidates, bool adding, bool loss,
                    std::vector<Tally>& tallies) const
{
    const size_t states = static_cast<size_t>(m_states), tests = static_cast<size_t>(m_tests);
    tallies.assign(candidates.size(), Tally());
    std::vector<double> base(states), scores(states);
    std::vector<int32_t> kept;
    for (size_t t = 0; t < tests; ++t)
        if (set[t]) kept.push_back(static_cast<int32_t>(t));
    const auto best = [states](const double* score) {
        size_t winner = 0;
        for (size_t s = 1; s < states; ++s)
            if (score[s] > score[winner]) winner = s;
        return winner;
    };
    for (size_t fold = 0; fold + 1 < m_begin.size(); ++fold) {
        const double* log = m_log[fold].data();
        for (size_t p = m_begin[fold]; p < m_begin[fold + 1]; ++p) {
            const uint8_t* values = &m_values[p * tests];
            const uint64_t* expected = &m_expected[p * m_words];
            std::copy(m_prior[fold].begin(), m_prior[fold].end(), base.begin());
            for (int32_t t : kept)
                if (values[t] != kNone) {
                    const double* row = log + (m_firstRow[static_cast<size_t>(t)] + values[t]) * states;
                    for (size_t s = 0; s < states; ++s) base[s] += row[s];
                }
            const size_t baseWinner = states ? best(base.data()) : 0;
            for (size_t k = 0; k < candidates.size(); ++k) {
                const size_t c = static_cast<size_t>(candidates[k]);
                const double* score = base.data();
                size_t winner = baseWinner;
                if (values[c] != kNone) {
                    const double* row = log + (m_firstRow[c] + values[c]) * states;
                    const double sign = adding ? 1.0 : -1.0;
                    for (size_t s = 0; s < states; ++s) scores[s] = base[s] + sign * row[s];
                    score = scores.data();
                    winner = best(score);
                }
                const bool right = states && (expected[winner / 64] >> (winner % 64) & 1);
                Tally& tally = tallies[k];
                ++(right ? tally.right : tally.wrong);
                if (!loss) continue;
                const int32_t truth = right ? static_cast<int32_t>(winner) : m_first[p];
                double sum = 0.0;
                for (size_t s = 0; s < states; ++s) sum += std::exp(score[s] - score[winner]);
                const double logTruth =
                    truth < 0 ? -INFINITY : score[static_cast<size_t>(truth)] - score[winner] - std::log(sum);
                tally.loss -= std::max(logTruth, std::log(kSmallestProbability));
            }
        }
    }
}

int32_t Selector::Choose(const TestSet& set, bool adding)
{
    std::vector<int32_t> candidates;
    for (int32_t t = 0; t < m_tests; ++t)
        if (static_cast<bool>(set[static_cast<size_t>(t)]) != adding) candidates.push_back(t);
    std::vector<Tally> tallies;
    Scan(set, candidates, adding, false, tallies);
    int64_t most = -1;
    for (const Tally& tally : tallies) most = std::max(most, tally.right);
    // The log loss decides between the candidates of the best accuracy alone.
    std::vector<int32_t> tied;
    for (size_t k = 0; k < candidates.size(); ++k)
        if (tallies[k].right == most) tied.push_back(candidates[k]);
    if (tied.size() > 1) Scan(set, tied, adding, true, tallies);
    size_t chosen = 0;
    for (size_t k = 1; k < tied.size(); ++k)
        if (tallies[k].loss < tallies[chosen].loss) chosen = k;
    if (RunProgress* progress = m_folds.GetProgress()) progress->Advance(static_cast<int64_t>(m_line.size()));
    return tied[chosen];
}

SelectionStep Step(int32_t test, const TestSet& set, const Tally& tally, size_t lines)
{
    return {test, Size(set), tally.right, tally.wrong, lines ? tally.loss / static_cast<double>(lines) : 0.0};
}

}  // namespace

Selection SelectTests(HostEngine& engine, const String& networkFile, const String& sampleFile,
                      const SelectionOptions& options, RunProgress* progress)
{
    CrossValidation::Options foldOptions = options.folds;
    foldOptions.keepModels = true;
    CrossValidation folds(engine, foldOptions, progress);
    folds.Read(networkFile, sampleFile);
    Selection selection;
    try {
        Selector selector(engine, folds);
        const int32_t tests = engine.GetNetwork().GetTestCount();
        if (options.keep < 0 || options.keep > tests)
            VELTRA_RAISE("Cannot keep ", options.keep, " tests: the network has ", tests);
        const int32_t target = options.keep > 0 ? options.keep : options.forward ? tests : std::min(tests, 1);
        const int32_t steps = options.forward ? target : tests - target;
        // Passes over the lines: the sets judged first, then per step a scan and a judgement, but
        // for the first step of an elimination, whose sets are among those judged first.
        const int64_t passes =
            tests + 2 + 2 * static_cast<int64_t>(steps) - (!options.forward && steps > 0 ? 2 : 0);
        if (progress) progress->Expect(passes, folds.GetLineCount());
        selector.Prepare();
        const size_t lines = static_cast<size_t>(folds.GetLineCount());

        // Every test, none, and every test but one.
        std::vector<TestSet> sets(2 + static_cast<size_t>(tests), TestSet(static_cast<size_t>(tests), 1));
        std::fill(sets[1].begin(), sets[1].end(), 0);
        for (int32_t t = 0; t < tests; ++t) sets[2 + static_cast<size_t>(t)][static_cast<size_t>(t)] = 0;
        const std::vector<Tally> judged = selector.Judge(sets);
        const std::vector<Tally> without(judged.begin() + 2, judged.end());
        selection.tests = selector.Scores(judged[0], without);

        TestSet set = sets[options.forward ? 1 : 0];
        selection.steps.push_back(Step(-1, set, judged[options.forward ? 1 : 0], lines));
        for (int32_t step = 0; step < steps; ++step) {
            int32_t test;
            Tally tally;
            if (step == 0 && !options.forward) {
                // Every test but one is judged exactly already.
                test = 0;
                for (int32_t t = 1; t < tests; ++t)
                    if (Better(without[static_cast<size_t>(t)], without[static_cast<size_t>(test)])) test = t;
                tally = without[static_cast<size_t>(test)];
                set[static_cast<size_t>(test)] = 0;
            } else {
                test = selector.Choose(set, options.forward);
                set[static_cast<size_t>(test)] = options.forward ? 1 : 0;
                tally = selector.Judge({set})[0];
            }
            selection.steps.push_back(Step(test, set, tally, lines));
        }

        // The step kept: the last one, or the best on the way.
        selection.chosen = static_cast<int32_t>(selection.steps.size()) - 1;
        if (options.keep == 0)
            for (size_t s = 0; s < selection.steps.size(); ++s) {
                const SelectionStep& a = selection.steps[s];
                const SelectionStep& b = selection.steps[static_cast<size_t>(selection.chosen)];
                if (a.right != b.right       ? a.right > b.right
                    : a.logLoss != b.logLoss ? a.logLoss < b.logLoss
                                             : a.tests < b.tests)
                    selection.chosen = static_cast<int32_t>(s);
            }
        TestSet chosen = sets[options.forward ? 1 : 0];
        for (int32_t s = 1; s <= selection.chosen; ++s)
            chosen[static_cast<size_t>(selection.steps[static_cast<size_t>(s)].test)] =
                options.forward ? 1 : 0;
        for (int32_t t = 0; t < tests; ++t)
            if (chosen[static_cast<size_t>(t)]) selection.kept.push_back(t);
    } catch (...) {
        try {
            folds.Restore();
        } catch (const TrapException&) {
        } catch (const std::exception&) {
        }
        throw;
    }
    folds.Restore();
    if (progress) progress->Finish();
    return selection;
}

}  // namespace veltra
