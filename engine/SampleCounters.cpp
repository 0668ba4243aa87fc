#include "engine/SampleCounters.h"

namespace veltra {

int32_t SampleCounters::Counter(HashTable<Long>& countTable, const String& key)
{
    if (!countTable.Contains(key)) return -1;
    m_entries.push_back(&countTable.Get(key).m_value);
    m_counts.push_back(0);
    return static_cast<int32_t>(m_counts.size() - 1);
}

void SampleCounters::Build(const NaiveBayesNet& network, HashTable<Long>& countTable)
{
    m_counting = false;
    m_built = false;
    m_counts.clear();
    m_entries.clear();
    m_stateOf.assign(256, -1);
    m_stateCounter.clear();
    std::vector<String> stateNames;
    const Hypothesis& hypothesis = network.GetHypothesis();
    for (int32_t s = 0; s < hypothesis.GetStateCount(); ++s) {
        const String& name = hypothesis.GetState(s);
        if (name.Length() != 1) continue;
        int32_t counter = Counter(countTable, StateKey(name));
        if (counter < 0) continue;
        m_stateOf[static_cast<unsigned char>(name[0])] = static_cast<int32_t>(stateNames.size());
        m_stateCounter.push_back(counter);
        stateNames.push_back(name);
    }
    m_states = static_cast<int32_t>(stateNames.size());
    m_tests = network.GetTestCount();
    m_cellOf.assign(static_cast<size_t>(m_tests) * 256, -1);
    m_valueCounter.clear();
    m_observedCounter.clear();
    m_cells.resize(static_cast<size_t>(m_tests));
    for (int32_t t = 0; t < m_tests; ++t) {
        const BayesTest& test = network.GetTest(t);
        for (int32_t v = 0; v < test.GetValueCount(); ++v) {
            const String& value = test.GetValue(v);
            if (value.Length() == 1)
                m_cellOf[static_cast<size_t>(t) * 256 + static_cast<unsigned char>(value[0])] =
                    static_cast<int32_t>(m_valueCounter.size());
            for (const String& state : stateNames)
                m_valueCounter.push_back(
                    value.Length() == 1 ? Counter(countTable, test.MakeKey(StateKey(state), value)) : -1);
        }
        for (const String& state : stateNames)
            m_observedCounter.push_back(Counter(countTable, ObservedKey(StateKey(state), test.GetTag())));
    }
    m_counting = true;
    m_built = true;
}

bool SampleCounters::Add(char state, const char* results, int32_t length)
{
    if (!m_counting || length != m_tests) return false;
    const int32_t s = m_stateOf[static_cast<unsigned char>(state)];
    if (s < 0) return false;
    // Every entry must exist before anything is counted.
    const int32_t* cellOf = m_cellOf.data();
    const int32_t* valueCounter = m_valueCounter.data();
    const int32_t* observedCounter = m_observedCounter.data() + s;
    int32_t* cells = m_cells.data();
    for (int32_t t = 0; t < m_tests; ++t, cellOf += 256, observedCounter += m_states) {
        cells[t] = -1;
        if (results[t] == '-') continue;
        const int32_t first = cellOf[static_cast<unsigned char>(results[t])];
        if (first < 0 || valueCounter[first + s] < 0 || *observedCounter < 0) return false;
        cells[t] = first + s;
    }
    int32_t* counts = m_counts.data();
    ++counts[m_stateCounter[static_cast<size_t>(s)]];
    observedCounter = m_observedCounter.data() + s;
    for (int32_t t = 0; t < m_tests; ++t, observedCounter += m_states) {
        if (cells[t] < 0) continue;
        ++counts[valueCounter[cells[t]]];
        ++counts[*observedCounter];
    }
    return true;
}

void SampleCounters::Fold() noexcept
{
    if (!m_counting) return;
    for (size_t i = 0; i < m_counts.size(); ++i) {
        *m_entries[i] += m_counts[i];
        m_counts[i] = 0;
    }
    m_counting = false;
}

}  // namespace veltra
