// SampleCounters: the counts of a training run's samples as flat arrays beside the count table.
//
// AddSample finds three kinds of entries of the count table for a sample (see ProbabilityKey): the
// state key, then for every observed test the conditional key and the observed key.
// These counters stand for those entries, laid out by test, value and state. A sample counts one
// counter per observed test: a state's observed count of a test is the sum of its counts of the
// test's values, which Fold adds up. Build maps the entries when every one-character state and
// value has its entries (as a freshly seeded table gives them; otherwise nothing is counted here);
// Add counts a sample whose every entry exists, and refuses any other sample without counting
// anything (the keyed AddSample then counts what it can and reports the missing key); Fold adds
// the counters into their entries, before anything reads the table.
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
    int32_t* Entry(HashTable<Long>& countTable, const String& key);

    bool m_counting = false;
    bool m_built = false;
    int32_t m_tests = 0;
    int32_t m_states = 0;
    std::vector<int32_t> m_stateOf;  // character: state number or -1
    // test * kCellOfStride + character: the value's first cell, -1 for none; "-" is the idle
    // cells, counted but never folded. The tests' tables lie an odd number of cache lines apart:
    // 1 KiB apart, the same character of every test would fall in the same few sets of the cache.
    static constexpr size_t kCellOfStride = 256 + 16;
    std::vector<int32_t> m_cellOf;
    std::vector<int32_t> m_valueOf;  // a value's first cell / states: the test it belongs to
    std::vector<int32_t> m_counts;   // cells: value * states + state, then the idle cells
    std::vector<int32_t> m_stateCounts;
    std::vector<int32_t*> m_cellEntries;      // cell: its count table entry
    std::vector<int32_t*> m_stateEntries;     // state: its entry
    std::vector<int32_t*> m_observedEntries;  // test * states + state: its entry
};

}  // namespace veltra

#endif  // VELTRA_ENGINE_SAMPLECOUNTERS_H
