// SampleCounters: the counts of a training run's samples as flat arrays beside the count table.
//
// AddSample finds three kinds of entries of the count table for a sample (see ProbabilityKey): the
// state key, then for every observed test the conditional key and the observed key.
// These counters stand for those entries, indexed by state, test and value. Build maps every
// entry that a one-character state and value can reach; Add counts a sample whose every entry
// exists, and refuses any other sample without counting anything (the keyed AddSample then counts
// what it can and reports the missing key); Fold adds the counters into their entries, before
// anything reads the table.
#ifndef VELTRA_ENGINE_SAMPLECOUNTERS_H
#define VELTRA_ENGINE_SAMPLECOUNTERS_H

#include <cstdint>
#include <vector>

#include "net/NaiveBayesNet.h"
#include "safe/HashTable.h"

namespace veltra {

class SampleCounters {
public:
    // Maps the entries of a freshly seeded `countTable` for the network and starts counting. The
    // table must not gain or lose entries until Fold.
    void Build(const NaiveBayesNet& network, HashTable<Long>& countTable);
    // Counts one sample of `state`; false, counting nothing, while not counting or when the keyed
    // AddSample would fail on the sample.
    bool Add(char state, const char* results, int32_t length);
    // Adds every counter into its entry, zeroes the counters and stops counting; nothing while
    // not counting. The entries stay mapped for Restart.
    void Fold() noexcept;
    // Counts again into the entries of the last Build, which must all still be in their table.
    void Restart() { m_counting = m_built; }

private:
    int32_t Counter(HashTable<Long>& countTable, const String& key);

    bool m_counting = false;
    bool m_built = false;
    int32_t m_tests = 0;
    int32_t m_states = 0;
    std::vector<int32_t> m_stateOf;          // character: state number or -1
    std::vector<int32_t> m_stateCounter;     // state: counter
    std::vector<int32_t> m_cellOf;           // test * 256 + character: the value's first cell or -1
    std::vector<int32_t> m_valueCounter;     // a value's first cell + state: counter or -1
    std::vector<int32_t> m_observedCounter;  // test * states + state: counter or -1
    std::vector<int32_t> m_cells;            // Add's scratch: the cell of every test, -1 for "-"
    std::vector<int32_t> m_counts;
    std::vector<int32_t*> m_entries;  // counter: the count table entry it stands for
};

}  // namespace veltra

#endif  // VELTRA_ENGINE_SAMPLECOUNTERS_H
