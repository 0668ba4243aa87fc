// FastInference: confidence levels from the compiled network, with the two caches used exactly as
// GetConfLevel and Product use them.
//
// GetConfLevel for a state probes the confidence cache; on a miss it asks Product for the state's
// own likelihood product, then for every other state's in state order, and stores the level while
// the cache has room. Each Product probes the product cache, and on a miss computes and stores,
// or empties the cache when it is found full (the product is then not stored). This unit gives
// the same levels and leaves both caches as those calls leave them, stale values from an earlier
// network included. Within one field nothing but these requests touches the product cache, so it
// is probed once per state; what the later requests find follows from what the requests store and
// empty, which are carried out on the cache as they happen. The products a network's fields store
// are held by state and results text (InferenceCache), so that a field finds and stores its
// products at once, not state by state.
//
// A field is begun with its results, which decides whether this unit answers it exactly; the
// caller then asks for all levels or for one state's.
//
// The confidence cache never drops or changes an entry, so a field whose every state's level it
// holds keeps them: such fields are indexed by their results, and answered from their entries
// without probing state by state. The index is forgotten whenever the network or the caches
// change otherwise, since the state keys it stands for may change with them.
#ifndef VELTRA_NET_FASTINFERENCE_H
#define VELTRA_NET_FASTINFERENCE_H

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "net/CompiledNetwork.h"
#include "net/InferenceCache.h"

namespace veltra {

class FastInference {
public:
    FastInference(InferenceCache& products, int32_t productLimit, InferenceCache& levels, int32_t levelLimit)
        : m_products(products), m_productLimit(productLimit), m_levels(levels), m_levelLimit(levelLimit)
    {
    }
    FastInference(const FastInference&) = delete;
    FastInference& operator=(const FastInference&) = delete;

    // Starts a field, its results copied. True when the levels below answer it exactly: the
    // results hold one character per test and every result character has a probability for every
    // state, or (`fresh` false) the confidence cache holds every state's level of the field.
    // False, with neither cache read or changed, otherwise.
    bool Begin(const CompiledNetwork& network, const char* results, int32_t length, bool fresh);
    // The level of every state, in state order, as GetConfLevel gives them one after the other.
    void AllLevels(double* levels);
    // The level of one state, as GetConfLevel gives it.
    double OneLevel(int32_t state);
    // The levels of every state computed from the arrays alone, neither cache read or written:
    // what AllLevels gives when both caches are empty. The field must have been begun fresh.
    void FreshLevels(double* levels);
    // Forgets the fields indexed for the previous network or caches.
    void NetworkChanged();

private:
    uint64_t ResultsHash() const;
    InferenceCache::Key KeyOf(int32_t state) const;
    // The field's rows (false when a result character has none); with the results hashed too.
    template <bool Hashing>
    bool Observe();
    void ProbeProducts();
    void ComputeProducts();
    double Request(int32_t state);
    double Level(int32_t state);
    void ReplayRequests(const std::vector<int32_t>& asking);
    void StoreLevel(int32_t state, double level);
    void LevelsFromSteadyAnswers(double* levels);
    // AllLevels of a field none of whose levels or products is cached.
    void LevelsNeverSeen(double* levels);
    // The products such a field stores when they do not all find room.
    void StoreFilling();
    size_t KnownSlot(uint64_t hash) const;
    void PlaceKnown(int32_t field);
    int32_t FindKnownField() const;
    size_t KnownPrefixBit() const;
    bool MayBeKnown() const;
    void AddKnownField();

    InferenceCache& m_products;
    const int32_t m_productLimit;
    InferenceCache& m_levels;
    const int32_t m_levelLimit;

    // The network whose product requests the product cache holds by state (see InferenceCache).
    const CompiledNetwork* m_heldFor = nullptr;
    bool m_heldAgain = false;  // the field's last request was held, the cache unchanged since
    // The field.
    const CompiledNetwork* m_network = nullptr;
    std::vector<char> m_resultsStore;
    std::string_view m_results;  // the field's results, copied into m_resultsStore
    int32_t m_length = 0;
    mutable uint64_t m_resultsHash = 0;
    mutable bool m_hashed = false;
    int32_t m_knownField = -1;
    bool m_probed = false;
    bool m_computed = false;
    std::vector<const double*> m_rows;  // the observed tests' rows, in test order
    size_t m_rowCount = 0;
    std::vector<double> m_computedProducts;
    // What a product request for each state finds in the product cache now.
    std::vector<char> m_cached;
    std::vector<double> m_cachedValues;
    int32_t m_cachedCount = 0;
    // Scratch of AllLevels.
    std::vector<int32_t> m_levelEntries;
    std::vector<int32_t> m_asking;
    std::vector<double> m_answers;
    std::vector<double> m_others;
    std::vector<int32_t> m_stateOrder;  // 0, 1, ...: every state, in state order
    // The products a field stores at once, and their states.
    std::vector<int32_t> m_storing;
    std::vector<double> m_storingValues;

    // Fields whose every level is cached: their results texts, and their entries in state order.
    struct KnownField {
        uint64_t hash;
        size_t textStart;
        size_t firstEntry;
    };
    std::vector<KnownField> m_known;
    std::vector<char> m_knownTexts;
    std::vector<int32_t> m_knownEntries;
    std::vector<int32_t> m_knownSlots;  // open addressing: known field or -1; at most half full
    // A bit for the first bytes of every known field: a field whose bit is clear is not known,
    // told without hashing all of its results first.
    std::array<uint64_t, 16> m_knownPrefixes{};
};

}  // namespace veltra

#endif  // VELTRA_NET_FASTINFERENCE_H
