// FastPath: where the engine's fast way meets the keyed way.
//
// The keyed way (NaiveBayesNet's GetConfLevel and Product, BayesianEngine's AddSample) reads and
// counts by key text and is the reference. The fast way does the same work over flat arrays: the
// confidence levels of a field from the compiled network, with the two inference caches used
// exactly as the keyed way uses them (FastInference), and the samples of a training run counted
// into flat counters that are added into the count table before anything reads it
// (SampleCounters). Every operation that can go either way asks here once, at its start, and
// then runs one way alone: a field the fast way cannot answer exactly is refused before anything
// is read from or written to a cache, and a sample it cannot count is refused before anything is
// counted, so that the keyed way then does all of the work, its side effects and messages
// included.
#ifndef VELTRA_ENGINE_FASTPATH_H
#define VELTRA_ENGINE_FASTPATH_H

#include <cstddef>
#include <cstdint>

#include "engine/SampleCounters.h"
#include "net/FastInference.h"
#include "net/NaiveBayesNet.h"

namespace veltra {

class FastPath final : public LevelSource {
public:
    // Which caches a field's levels go through: the inference caches, as the keyed way uses
    // them, or none (the levels computed afresh, what the caches would give when empty).
    enum class Caches { kUsed, kBypassed };

    explicit FastPath(NaiveBayesNet& network);
    FastPath(const FastPath&) = delete;
    FastPath& operator=(const FastPath&) = delete;

    // On by default. Off, every operation takes the keyed way.
    void SetEnabled(bool enabled);
    bool IsEnabled() const { return m_enabled; }

    // The decision for one field, whose full stops are removed: true when the fast way answers it
    // exactly, and then Levels gives its levels. False, having read and changed nothing, when
    // the keyed way must answer (a wrong length, a result character without a probability for
    // every state, a network the arrays cannot mirror, the fast way switched off).
    bool Decide(const char* results, size_t length, Caches caches);
    // The level of every state of the field decided last, in state order, as GetConfLevel gives
    // them one after the other.
    void Levels(double* levels);
    // The level of one state, as GetConfLevel gives it: the fast way where it answers the field,
    // the keyed way otherwise. How the per-test figures of a trained network ask.
    double Level(int32_t state, const String& stateKey, const String& results, bool verbose) override;

    // Counting the samples of a training run: starts counting into the entries of a freshly
    // seeded `countTable` (nothing while switched off), or counts again into the entries of the
    // last start, which must all still be in their table.
    void StartCounting(HashTable<Long>& countTable);
    void RestartCounting();
    // Counts one sample of `state`; false, counting nothing, when the keyed AddSample must count
    // it (not counting, or the sample lacks an entry of the count table).
    bool CountSample(char state, const char* results, int32_t length)
    {
        return m_counters.Add(state, results, length);
    }
    // Adds what was counted into the count table and stops counting.
    void FoldCounts() noexcept { m_counters.Fold(); }

private:
    const CompiledNetwork* Compiled();

    NaiveBayesNet& m_network;
    bool m_enabled = true;
    uint64_t m_changes = 0;  // the network's change count the inference state belongs to
    FastInference m_inference;
    Caches m_caches = Caches::kUsed;
    SampleCounters m_counters;
};

}  // namespace veltra

#endif  // VELTRA_ENGINE_FASTPATH_H
