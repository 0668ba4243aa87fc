#include "engine/SampleCounters.h"

#include <algorithm>

namespace veltra {

int32_t* SampleCounters::Entry(HashTable<Long>& countTable, const String& key)
{
    return countTable.Contains(key) ? &countTable.Get(key).m_value : nullptr;
}

void SampleCounters::Build(const NaiveBayesNet& network, HashTable<Long>& countTable)
{
    m_counting = false;
    m_built = false;
    const Hypothesis& hypothesis = network.GetHypothesis();
    m_states = hypothesis.GetStateCount();
    m_tests = network.GetTestCount();
    m_stateOf.assign(256, -1);
    m_stateEntries.clear();
    m_cellEntries.clear();
    m_observedEntries.clear();
    m_valueOf.clear();
    m_cellOf.assign(static_cast<size_t>(m_tests) * kCellOfStride, -1);
    std::vector<String> stateKeys;
    for (int32_t s = 0; s < m_states; ++s) {
        const String& name = hypothesis.GetState(s);
        if (name.Length() != 1 || m_stateOf[static_cast<unsigned char>(name[0])] >= 0) return;
        stateKeys.push_back(StateKey(name));
        m_stateEntries.push_back(Entry(countTable, stateKeys.back()));
        if (!m_stateEntries.back()) return;
        m_stateOf[static_cast<unsigned char>(name[0])] = s;
    }
    for (int32_t t = 0; t < m_tests; ++t) {
        const BayesTest& test = network.GetTest(t);
        int32_t* cellOf = &m_cellOf[static_cast<size_t>(t) * kCellOfStride];
        for (int32_t v = 0; v < test.GetValueCount(); ++v) {
            const String& value = test.GetValue(v);
            if (value.Length() != 1 || value[0] == '-' || cellOf[static_cast<unsigned char>(value[0])] >= 0)
                return;
            cellOf[static_cast<unsigned char>(value[0])] = static_cast<int32_t>(m_cellEntries.size());
            m_valueOf.push_back(t);
            for (const String& stateKey : stateKeys) {
                m_cellEntries.push_back(Entry(countTable, test.MakeKey(stateKey, value)));
                if (!m_cellEntries.back()) return;
            }
        }
        for (const String& stateKey : stateKeys) {
            m_observedEntries.push_back(Entry(countTable, ObservedKey(stateKey, test.GetTag())));
            if (!m_observedEntries.back()) return;
        }
    }
    const int32_t idle = static_cast<int32_t>(m_cellEntries.size());
    for (int32_t t = 0; t < m_tests; ++t) m_cellOf[static_cast<size_t>(t) * kCellOfStride + '-'] = idle;
    m_counts.assign(m_cellEntries.size() + static_cast<size_t>(m_states), 0);
    m_stateCounts.assign(static_cast<size_t>(m_states), 0);
    m_counting = true;
    m_built = true;
}

bool SampleCounters::Add(char state, const char* results, int32_t length)
{
    if (!m_counting || length != m_tests) return false;
    const int32_t s = m_stateOf[static_cast<unsigned char>(state)];
    if (s < 0) return false;
    int32_t* counts = m_counts.data() + s;
    const int32_t* cellOf = m_cellOf.data();
    for (int32_t t = 0; t < m_tests; ++t, cellOf += kCellOfStride) {
        const int32_t cell = cellOf[static_cast<unsigned char>(results[t])];
        if (cell < 0) {
            // A value the test does not have: take back what this sample counted.
            cellOf = m_cellOf.data();
            for (int32_t u = 0; u < t; ++u, cellOf += kCellOfStride)
                --counts[cellOf[static_cast<unsigned char>(results[u])]];
            return false;
        }
        ++counts[cell];
    }
    ++m_stateCounts[static_cast<size_t>(s)];
    return true;
}

void SampleCounters::Fold() noexcept
{
    if (!m_counting) return;
    const size_t states = static_cast<size_t>(m_states);
    for (size_t s = 0; s < states; ++s) {
        *m_stateEntries[s] += m_stateCounts[s];
        m_stateCounts[s] = 0;
    }
    for (size_t cell = 0; cell < m_cellEntries.size(); ++cell) {
        const int32_t count = m_counts[cell];
        *m_cellEntries[cell] += count;
        // The observed count of a test in a state: its counts of the test's values.
        *m_observedEntries[static_cast<size_t>(m_valueOf[cell / states]) * states + cell % states] += count;
    }
    std::fill(m_counts.begin(), m_counts.end(), 0);
    m_counting = false;
}

}  // namespace veltra
