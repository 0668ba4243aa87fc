#include "net/CompiledNetwork.h"

#include <string_view>
#include <unordered_map>

#include "net/BayesTest.h"
#include "net/InferenceCache.h"

namespace veltra {

void CompiledNetwork::Build(const Hypothesis* hypothesis, const std::vector<const BayesTest*>& tests)
{
    *this = CompiledNetwork();
    if (!hypothesis) return;
    m_tests = static_cast<int32_t>(tests.size());
    if (!BuildStates(*hypothesis)) return;
    BuildRows(tests);
    m_resultsPower = InferenceCache::Power(static_cast<size_t>(m_tests));
    m_usable = true;
}

bool CompiledNetwork::BuildStates(const Hypothesis& hypothesis)
{
    m_states = hypothesis.GetStateCount();
    if (m_states == 0) return false;  // nothing to classify into
    for (int32_t s = 0; s < m_states; ++s) {
        String key = veltra::StateKey(hypothesis.GetState(s));  // not the member of this class
        // The network reads a key holding "|" as a test's key, never as a prior.
        if (IsConditionalKey(key) || !hypothesis.HasProbability(key)) return false;
        m_stateKeys.push_back(key.str());
        m_stateKeyHashes.push_back(InferenceCache::Hash(key.c_str(), static_cast<size_t>(key.Length())));
        m_priors.push_back(hypothesis.GetProbability(key));
    }
    m_stride = (static_cast<size_t>(m_states) + 1) & ~static_cast<size_t>(1);
    m_priors.resize(m_stride, 1.0);
    return true;
}

void CompiledNetwork::BuildRows(const std::vector<const BayesTest*>& tests)
{
    const size_t states = static_cast<size_t>(m_states);
    std::unordered_map<std::string_view, int32_t> stateOf;
    for (int32_t s = 0; s < m_states; ++s) stateOf.emplace(m_stateKeys[static_cast<size_t>(s)], s);
    // A test's table holds tag + "=" + value + "|" + state key for every probability set; read
    // each key at those positions and keep the characters that have a probability for every state.
    std::vector<int32_t> rowIndex(static_cast<size_t>(m_tests) * 256, -1);
    std::vector<double> cells(256 * states);
    std::vector<int32_t> found(256);
    for (int32_t t = 0; t < m_tests; ++t) {
        const BayesTest& test = *tests[static_cast<size_t>(t)];
        const std::string& tag = test.GetTag().str();
        const HashTable<Double>& table = test.GetProbabilities();
        Ptr<Vector<String>> keys = table.GetKeys();
        std::fill(found.begin(), found.end(), 0);
        for (int32_t i = 0; i < keys->Size(); ++i) {
            const std::string& key = (*keys)[i].str();
            const size_t at = tag.size();
            if (key.size() < at + 3 || key.compare(0, at, tag) != 0 || key[at] != '=' || key[at + 2] != '|')
                continue;
            auto state = stateOf.find(std::string_view(key).substr(at + 3));
            if (state == stateOf.end()) continue;
            const unsigned char c = static_cast<unsigned char>(key[at + 1]);
            cells[c * states + static_cast<size_t>(state->second)] = table.Get((*keys)[i]).m_value;
            ++found[c];
        }
        for (size_t c = 0; c < 256; ++c) {
            if (found[c] != m_states) continue;
            rowIndex[static_cast<size_t>(t) * 256 + c] = static_cast<int32_t>(m_rows.size() / m_stride);
            m_rows.insert(m_rows.end(), cells.begin() + static_cast<std::ptrdiff_t>(c * states),
                          cells.begin() + static_cast<std::ptrdiff_t>((c + 1) * states));
            m_rows.resize(m_rows.size() + m_stride - states, 1.0);
        }
    }
    // A test without a result multiplies by a row of ones, which changes no product.
    const size_t ones = m_rows.size() / m_stride;
    m_rows.resize(m_rows.size() + m_stride, 1.0);
    for (int32_t t = 0; t < m_tests; ++t)
        rowIndex[static_cast<size_t>(t) * 256 + '-'] = static_cast<int32_t>(ones);
    m_rowOf.assign(static_cast<size_t>(m_tests) * kRowOfStride, nullptr);
    for (size_t t = 0; t < static_cast<size_t>(m_tests); ++t)
        for (size_t c = 0; c < 256; ++c)
            if (const int32_t row = rowIndex[t * 256 + c]; row >= 0)
                m_rowOf[t * kRowOfStride + c] = &m_rows[static_cast<size_t>(row) * m_stride];
}

}  // namespace veltra
