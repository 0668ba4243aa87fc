#include "net/FastInference.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#if defined(__SSE2__)
#  include <emmintrin.h>
#endif

namespace veltra {

namespace {

// Multiplies start[first, first + 2 * Pairs) by the same cells of every row, in row order,
// holding them in registers, into products: each product still takes its factors one after the
// other, in the order Product takes them.
template <size_t Pairs>
void MultiplyRows(const double* start, double* products, const double* const* rows, size_t rowCount,
                  size_t first)
{
#if defined(__SSE2__)
    __m128d product[Pairs];
    for (size_t i = 0; i < Pairs; ++i) product[i] = _mm_loadu_pd(start + first + 2 * i);
    for (size_t r = 0; r < rowCount; ++r) {
        const double* cells = rows[r] + first;
#  pragma GCC unroll 16
        for (size_t i = 0; i < Pairs; ++i) product[i] = _mm_mul_pd(product[i], _mm_loadu_pd(cells + 2 * i));
    }
    for (size_t i = 0; i < Pairs; ++i) _mm_storeu_pd(products + first + 2 * i, product[i]);
#else
    for (size_t i = first; i < first + 2 * Pairs; ++i) products[i] = start[i];
    for (size_t r = 0; r < rowCount; ++r)
        for (size_t i = first; i < first + 2 * Pairs; ++i) products[i] *= rows[r][i];
#endif
}

// Each state's others: the products of the other states added in state order, that is the sum
// of the states before it, then one by one those after it. Two states at a time: the second of a
// pair adds 0 where the first adds its neighbour (a sum that starts from +0 is never -0, so adding
// 0 changes no bit of it), and both then add the same products past the pair.
void OthersInStateOrder(const double* products, size_t count, double* others)
{
    // The sums of the states before each pair are kept in registers, not stored and read back.
    double before = 0.0;
    size_t s = 0;
#if defined(__SSE2__)
    for (; s + 1 < count; s += 2) {
        const double first = before, second = before + products[s];
        before = second + products[s + 1];
        __m128d sum = _mm_add_pd(_mm_set_pd(second, first), _mm_set_pd(0.0, products[s + 1]));
        for (size_t k = s + 2; k < count; ++k) sum = _mm_add_pd(sum, _mm_set1_pd(products[k]));
        _mm_storeu_pd(others + s, sum);
    }
#endif
    for (; s < count; ++s) {
        others[s] = before;
        before += products[s];
        for (size_t k = s + 1; k < count; ++k) others[s] += products[k];
    }
}

// Each state's level from its product and its others (replaced by the level): 1 / (others / own
// + 1), or 0 for a zero product. Two states at a time, each lane's divisions its own.
void LevelsOfProducts(const double* products, double* others, size_t count)
{
    size_t s = 0;
#if defined(__SSE2__)
    const __m128d one = _mm_set1_pd(1.0), zero = _mm_setzero_pd();
    for (; s + 1 < count; s += 2) {
        const __m128d own = _mm_loadu_pd(products + s);
        // A zero product divides nothing: its lane divides by 1 and is then set to 0.
        const __m128d nothing = _mm_cmpeq_pd(own, zero);
        const __m128d divisor = _mm_or_pd(_mm_and_pd(nothing, one), _mm_andnot_pd(nothing, own));
        const __m128d level = _mm_div_pd(one, _mm_add_pd(_mm_div_pd(_mm_loadu_pd(others + s), divisor), one));
        _mm_storeu_pd(others + s, _mm_andnot_pd(nothing, level));
    }
#endif
    for (; s < count; ++s) others[s] = products[s] != 0.0 ? 1.0 / (others[s] / products[s] + 1.0) : 0.0;
}

using RowKernel = void (*)(const double*, double*, const double* const*, size_t, size_t);
constexpr size_t kMostPairs = 12;

template <size_t... Pairs>
constexpr std::array<RowKernel, sizeof...(Pairs)> MakeRowKernels(std::index_sequence<Pairs...>)
{
    return {{&MultiplyRows<Pairs + 1>...}};
}
constexpr std::array<RowKernel, kMostPairs> kRowKernels =
    MakeRowKernels(std::make_index_sequence<kMostPairs>());

}  // namespace

bool FastInference::Begin(const CompiledNetwork& network, const char* results, int32_t length, bool fresh)
{
    if (length != network.TestCount()) return false;
    // The product requests of this network's fields are held by state in the product cache.
    if (m_heldFor != &network) {
        m_products.HoldFor(network.StateKeys(), network.StateKeyHashes(), network.ResultsPower());
        m_levels.FilterResultsFor(network.StateKeys(), static_cast<size_t>(network.TestCount()));
        m_heldFor = &network;
    }
    m_network = &network;
    m_heldAgain = false;
    // The field's own copy, in storage that only grows.
    if (m_resultsStore.size() < static_cast<size_t>(length))
        m_resultsStore.resize(static_cast<size_t>(length));
    if (length > 0) std::memcpy(m_resultsStore.data(), results, static_cast<size_t>(length));
    m_results = std::string_view(m_resultsStore.data(), static_cast<size_t>(length));
    m_length = length;
    m_hashed = false;  // hashed when a cache is asked: fresh levels never need it
    m_probed = false;
    m_computed = false;
    if (fresh) {
        m_knownField = -1;
        return Observe<false>();
    }
    // A field that may be known is looked up first, and its rows then read only when it is not;
    // any other field reads its rows as its results are hashed.
    if (MayBeKnown()) {
        m_knownField = FindKnownField();
        return m_knownField >= 0 || Observe<false>();
    }
    m_knownField = -1;
    return Observe<true>();
}

size_t FastInference::KnownPrefixBit() const
{
    const size_t length = std::min<size_t>(m_results.size(), 8);
    const uint64_t prefix = InferenceCache::Hash(m_results.data(), length) + length;
    return static_cast<size_t>(prefix * 0x9e3779b97f4a7c15ULL >> 54);
}

bool FastInference::MayBeKnown() const
{
    if (m_known.empty()) return false;
    const size_t bit = KnownPrefixBit();
    return m_knownPrefixes[bit / 64] >> (bit % 64) & 1;
}

uint64_t FastInference::ResultsHash() const
{
    if (!m_hashed) {
        m_resultsHash = InferenceCache::Hash(m_results.data(), m_results.size());
        m_hashed = true;
    }
    return m_resultsHash;
}

InferenceCache::Key FastInference::KeyOf(int32_t state) const
{
    const std::string& stateKey = m_network->StateKey(state);
    uint64_t hash =
        InferenceCache::Join(m_network->StateKeyHash(state), m_network->ResultsPower(), ResultsHash());
    return {stateKey.data(), stateKey.size(), m_results.data(), m_results.size(), hash};
}

template <bool Hashing>
bool FastInference::Observe()
{
    if (m_rows.size() < static_cast<size_t>(m_length)) m_rows.resize(static_cast<size_t>(m_length));
    // A test without a result has a row of ones: multiplying by 1 leaves every product's bits as
    // leaving the test out does, without a branch a test. Hashing, the results are hashed in the
    // same pass: the hash's multiplications overlap the rows' lookups.
    m_rowCount = static_cast<size_t>(m_length);
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(m_results.data());
    const double** rows = m_rows.data();
    bool all = true;
    uint64_t hash = 0;
    int32_t t = 0;
    for (; t + 4 <= m_length; t += 4) {
        if constexpr (Hashing) hash = InferenceCache::HashFour(hash, bytes + t);
        for (int32_t k = t; k < t + 4; ++k) {
            rows[k] = m_network->Row(k, bytes[k]);
            all &= rows[k] != nullptr;
        }
    }
    for (; t < m_length; ++t) {
        if constexpr (Hashing) hash = InferenceCache::HashOne(hash, bytes[t]);
        rows[t] = m_network->Row(t, bytes[t]);
        all &= rows[t] != nullptr;
    }
    if constexpr (Hashing) {
        m_resultsHash = hash;
        m_hashed = true;
    }
    return all;
}

void FastInference::ProbeProducts()
{
    const int32_t states = m_network->StateCount();
    m_cached.resize(static_cast<size_t>(states));
    std::fill(m_cached.begin(), m_cached.end(), 0);
    m_cachedValues.resize(static_cast<size_t>(states));
    m_cachedCount = 0;
    // Entries stored otherwise (the keyed way's, another network's) are in the table; this
    // network's requests are held, found once for the field.
    for (int32_t s = 0; s < states && m_products.TableSize() > 0; ++s) {
        int32_t entry = m_products.FindInTable(KeyOf(s));
        if (entry < 0) continue;
        m_cached[static_cast<size_t>(s)] = 1;
        m_cachedValues[static_cast<size_t>(s)] = m_products.Value(entry);
        ++m_cachedCount;
    }
    m_cachedCount += m_products.FindHeld(m_results.data(), m_results.size(), ResultsHash(), m_cached.data(),
                                         m_cachedValues.data());
    m_probed = true;
}

void FastInference::ComputeProducts()
{
    // The prior, then the probability of every observed test in test order: Product's order.
    const size_t stride = m_network->Stride();
    m_computedProducts.resize(stride);
    double* products = m_computedProducts.data();
    // From the priors as the network holds them (padded with 1): copied here first, they would be
    // read back in pairs right after being written one by one.
    for (size_t pair = 0, pairs = stride / 2; pair < pairs;) {
        const size_t block = std::min(kMostPairs, pairs - pair);
        kRowKernels[block - 1](m_network->Priors(), products, m_rows.data(), m_rowCount, 2 * pair);
        pair += block;
    }
    m_computed = true;
}

double FastInference::Request(int32_t state)
{
    const size_t s = static_cast<size_t>(state);
    if (m_cached[s]) return m_cachedValues[s];
    if (!m_computed) ComputeProducts();
    const double product = m_computedProducts[s];
    if (m_products.Size() < m_productLimit) {
        m_products.AddHeld(&state, &product, 1, m_results.data(), m_results.size(), ResultsHash(),
                           m_heldAgain);
        m_heldAgain = true;
        m_cached[s] = 1;
        m_cachedValues[s] = product;
        ++m_cachedCount;
    } else {
        m_products.Clear();
        m_heldAgain = false;
        std::fill(m_cached.begin(), m_cached.end(), 0);
        m_cachedCount = 0;
    }
    return product;
}

double FastInference::Level(int32_t state)
{
    const double own = Request(state);
    double others = 0.0;
    for (int32_t k = 0; k < m_network->StateCount(); ++k)
        if (k != state) others += Request(k);
    return own != 0.0 ? 1.0 / (others / own + 1.0) : 0.0;
}

void FastInference::ReplayRequests(const std::vector<int32_t>& asking)
{
    const int32_t states = m_network->StateCount();
    if (!asking.empty() && m_cachedCount < states &&
        m_products.Size() + (states - m_cachedCount) <= m_productLimit) {
        // Every store finds room: the first state's requests store every product not cached, its
        // own and then the others' in state order, and every later request finds its product.
        const int32_t first = asking.front();
        m_storing.clear();
        m_storingValues.clear();
        for (int32_t k = -1; k < states; ++k) {
            const int32_t state = k < 0 ? first : k;
            if ((k >= 0 && k == first) || m_cached[static_cast<size_t>(state)]) continue;
            m_storing.push_back(state);
            m_storingValues.push_back(m_computedProducts[static_cast<size_t>(state)]);
        }
        m_products.AddHeld(m_storing.data(), m_storingValues.data(), m_storing.size(), m_results.data(),
                           m_results.size(), ResultsHash(), m_heldAgain);
        m_heldAgain = true;
        std::fill(m_cached.begin(), m_cached.end(), 1);
        for (size_t i = 0; i < m_storing.size(); ++i)
            m_cachedValues[static_cast<size_t>(m_storing[i])] = m_storingValues[i];
        m_cachedCount = states;
        return;
    }
    for (int32_t state : asking) {
        if (m_cachedCount == states) return;  // every further request finds its product
        Request(state);
        for (int32_t k = 0; k < states; ++k)
            if (k != state) Request(k);
    }
}

void FastInference::StoreLevel(int32_t state, double level)
{
    if (m_levels.Size() < m_levelLimit) m_levels.Add(KeyOf(state), level);
}

void FastInference::FreshLevels(double* levels)
{
    ComputeProducts();
    // A state's level from its product and the others' added in state order: those before it,
    // then one by one those after it, as Level adds them.
    const size_t count = static_cast<size_t>(m_network->StateCount());
    const double* products = m_computedProducts.data();
    OthersInStateOrder(products, count, levels);
    LevelsOfProducts(products, levels, count);
}

double FastInference::OneLevel(int32_t state)
{
    const int32_t entry = m_levels.Find(KeyOf(state));
    if (entry >= 0) return m_levels.Value(entry);
    if (!m_probed) ProbeProducts();
    const double level = Level(state);
    StoreLevel(state, level);
    return level;
}

void FastInference::NetworkChanged()
{
    m_heldFor = nullptr;
    m_known.clear();
    m_knownPrefixes.fill(0);
    m_knownTexts.clear();
    m_knownEntries.clear();
    m_knownSlots.clear();
}

size_t FastInference::KnownSlot(uint64_t hash) const
{
    return static_cast<size_t>(hash * 0x9e3779b97f4a7c15ULL >> 40) & (m_knownSlots.size() - 1);
}

void FastInference::PlaceKnown(int32_t field)
{
    size_t slot = KnownSlot(m_known[static_cast<size_t>(field)].hash);
    while (m_knownSlots[slot] >= 0) slot = (slot + 1) & (m_knownSlots.size() - 1);
    m_knownSlots[slot] = field;
}

int32_t FastInference::FindKnownField() const
{
    if (m_knownSlots.empty()) return -1;
    for (size_t slot = KnownSlot(ResultsHash());; slot = (slot + 1) & (m_knownSlots.size() - 1)) {
        const int32_t known = m_knownSlots[slot];
        if (known < 0) return -1;
        const KnownField& field = m_known[static_cast<size_t>(known)];
        if (field.hash == ResultsHash() &&
            std::equal(m_results.begin(), m_results.end(),
                       m_knownTexts.begin() + static_cast<std::ptrdiff_t>(field.textStart)))
            return known;
    }
}

void FastInference::AddKnownField()
{
    m_known.push_back({ResultsHash(), m_knownTexts.size(), m_knownEntries.size()});
    const size_t bit = KnownPrefixBit();
    m_knownPrefixes[bit / 64] |= uint64_t{1} << (bit % 64);
    m_knownTexts.insert(m_knownTexts.end(), m_results.begin(), m_results.end());
    m_knownEntries.insert(m_knownEntries.end(), m_levelEntries.begin(), m_levelEntries.end());
    if (m_known.size() * 2 > m_knownSlots.size()) {
        m_knownSlots.assign(std::max<size_t>(16, 2 * m_knownSlots.size()), -1);
        for (size_t i = 0; i < m_known.size(); ++i) PlaceKnown(static_cast<int32_t>(i));
    } else {
        PlaceKnown(static_cast<int32_t>(m_known.size() - 1));
    }
}

void FastInference::LevelsFromSteadyAnswers(double* levels)
{
    // Every request for a state's product answers one value during this field: a cached product
    // stays cached when the stores cannot fill the cache, and without cached products every
    // answer is a computed one.
    const size_t count = static_cast<size_t>(m_network->StateCount());
    if (m_cachedCount < m_network->StateCount()) ComputeProducts();
    m_answers.resize(count);
    for (size_t s = 0; s < count; ++s) m_answers[s] = m_cached[s] ? m_cachedValues[s] : m_computedProducts[s];
    ReplayRequests(m_asking);
    // Every state's level, by way of its others.
    m_others.resize(count);
    double* others = m_others.data();
    OthersInStateOrder(m_answers.data(), count, others);
    LevelsOfProducts(m_answers.data(), others, count);
    for (int32_t s : m_asking) {
        levels[s] = others[s];
        StoreLevel(s, others[s]);
    }
}

void FastInference::LevelsNeverSeen(double* levels)
{
    ComputeProducts();
    const size_t count = static_cast<size_t>(m_network->StateCount());
    if (m_products.Size() + m_network->StateCount() <= m_productLimit) {
        // The first state's requests store every product, its own first and then the others' in
        // state order (state 0 asks first: state order), and every later request finds its product.
        if (m_stateOrder.size() != count) {
            m_stateOrder.resize(count);
            for (size_t s = 0; s < count; ++s) m_stateOrder[s] = static_cast<int32_t>(s);
        }
        m_products.AddHeld(m_stateOrder.data(), m_computedProducts.data(), count, m_results.data(),
                           m_results.size(), ResultsHash(), m_heldAgain);
    } else {
        StoreFilling();
    }
    m_heldAgain = true;
    m_probed = false;  // the products are now cached: a later request of the field probes again
    OthersInStateOrder(m_computedProducts.data(), count, levels);
    LevelsOfProducts(m_computedProducts.data(), levels, count);
    for (size_t s = 0; s < count && m_levels.Size() < m_levelLimit; ++s)
        StoreLevel(static_cast<int32_t>(s), levels[s]);
}

void FastInference::StoreFilling()
{
    // The requests of every state in turn (its own product, then the others' in state order), as
    // GetConfLevel makes them, against a cache that fills on the way: a request that finds it full
    // empties it and stores nothing. Counted here, then carried out at once: the cache emptied if a
    // request emptied it, and the products stored since then held in the order they were stored.
    const int32_t states = m_network->StateCount();
    m_cached.assign(static_cast<size_t>(states), 0);
    int32_t size = m_products.Size(), cachedCount = 0;
    bool emptied = false;
    m_storing.clear();
    for (int32_t asking = 0; asking < states && cachedCount < states; ++asking) {
        for (int32_t k = -1; k < states; ++k) {
            const int32_t state = k < 0 ? asking : k;
            if ((k >= 0 && k == asking) || m_cached[static_cast<size_t>(state)]) continue;
            if (size < m_productLimit) {
                m_cached[static_cast<size_t>(state)] = 1;
                ++cachedCount;
                ++size;
                m_storing.push_back(state);
            } else {
                std::fill(m_cached.begin(), m_cached.end(), 0);
                cachedCount = 0;
                size = 0;
                m_storing.clear();
                emptied = true;
            }
        }
    }
    if (emptied) {
        m_products.Clear();
        m_heldAgain = false;
    }
    m_storingValues.clear();
    for (int32_t state : m_storing) m_storingValues.push_back(m_computedProducts[static_cast<size_t>(state)]);
    if (!m_storing.empty())
        m_products.AddHeld(m_storing.data(), m_storingValues.data(), m_storing.size(), m_results.data(),
                           m_results.size(), ResultsHash(), m_heldAgain);
}

void FastInference::AllLevels(double* levels)
{
    const int32_t states = m_network->StateCount();
    const size_t count = static_cast<size_t>(states);
    if (m_knownField >= 0) {
        const int32_t* entries = &m_knownEntries[m_known[static_cast<size_t>(m_knownField)].firstEntry];
        for (size_t s = 0; s < count; ++s) levels[s] = m_levels.Value(entries[s]);
        return;
    }
    // Most fields never seen have no level cached: one bit tells.
    const bool mayHold = m_levels.MayHoldResults(ResultsHash());
    if (!mayHold) {
        if (!m_probed) ProbeProducts();
        if (m_cachedCount == 0) {
            LevelsNeverSeen(levels);
            return;
        }
    }
    m_levelEntries.resize(count);
    m_asking.clear();
    for (int32_t s = 0; s < states; ++s) {
        m_levelEntries[static_cast<size_t>(s)] = mayHold ? m_levels.Find(KeyOf(s)) : -1;
        if (m_levelEntries[static_cast<size_t>(s)] < 0) m_asking.push_back(s);
    }
    if (m_asking.empty()) {
        AddKnownField();
    } else {
        if (!m_probed) ProbeProducts();
        const int32_t missing = states - m_cachedCount;
        if (m_cachedCount == 0 && static_cast<int32_t>(m_asking.size()) == states) {
            LevelsNeverSeen(levels);
            return;
        }
        if (m_cachedCount == 0 || m_products.Size() + missing <= m_productLimit) {
            LevelsFromSteadyAnswers(levels);
        } else {
            for (int32_t s : m_asking) {
                levels[s] = Level(s);
                StoreLevel(s, levels[s]);
            }
        }
    }
    for (size_t s = 0; s < count; ++s)
        if (m_levelEntries[s] >= 0) levels[s] = m_levels.Value(m_levelEntries[s]);
}

}  // namespace veltra
