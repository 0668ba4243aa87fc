#include "engine/SampleCounters.h"

#include <algorithm>

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
    m_valueOf.assign(static_cast<size_t>(m_tests) * 256, -1);
    m_firstCell.clear();
    m_valueCounter.clear();
    m_observedCounter.clear();
    for (int32_t t = 0; t < m_tests; ++t) {
        const BayesTest& test = network.GetTest(t);
        m_firstCell.push_back(static_cast<int32_t>(m_valueCounter.size()));
        for (int32_t v = 0; v < test.GetValueCount(); ++v) {
            const String& value = test.GetValue(v);
            if (value.Length() == 1) m_valueOf[static_cast<size_t>(t) * 256 + static_cast<unsigned char>(value[0])] = v;
            for (const String& state : stateNames)
                m_valueCounter.push_back(value.Length() == 1 ? Counter(countTable, test.MakeKey(StateKey(state), value))
                                                             : -1);
        }
        for (const String& state : stateNames)
            m_observedCounter.push_back(Counter(countTable, StateKey(state) + "," + test.GetTag() + "!=-"));
    }
    m_counting = true;
}

bool SampleCounters::Add(char state, const char* results, int32_t length)
{
    if (!m_counting || length != m_tests) return false;
    const int32_t s = m_stateOf[static_cast<unsigned char>(state)];
    if (s < 0) return false;
    const size_t states = static_cast<size_t>(m_states);
    for (int32_t t = 0; t < m_tests; ++t) {
        if (results[t] == '-') continue;
        const int32_t v = m_valueOf[static_cast<size_t>(t) * 256 + static_cast<unsigned char>(results[t])];
        if (v < 0) return false;
        const size_t cell = static_cast<size_t>(m_firstCell[static_cast<size_t>(t)]) + static_cast<size_t>(v) * states +
                            static_cast<size_t>(s);
        if (m_valueCounter[cell] < 0 || m_observedCounter[static_cast<size_t>(t) * states + static_cast<size_t>(s)] < 0)
            return false;
    }
    int32_t* counts = m_counts.data();
    ++counts[m_stateCounter[static_cast<size_t>(s)]];
    for (int32_t t = 0; t < m_tests; ++t) {
        if (results[t] == '-') continue;
        const int32_t v = m_valueOf[static_cast<size_t>(t) * 256 + static_cast<unsigned char>(results[t])];
        const size_t cell = static_cast<size_t>(m_firstCell[static_cast<size_t>(t)]) + static_cast<size_t>(v) * states +
                            static_cast<size_t>(s);
        ++counts[m_valueCounter[cell]];
        ++counts[m_observedCounter[static_cast<size_t>(t) * states + static_cast<size_t>(s)]];
    }
    return true;
}

void SampleCounters::Fold() noexcept
{
    for (size_t i = 0; i < m_counts.size(); ++i) *m_entries[i] += m_counts[i];
    std::fill(m_counts.begin(), m_counts.end(), 0);
    m_counting = false;
}

}  // namespace veltra
