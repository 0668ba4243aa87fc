#include "net/InferenceCache.h"

#include <algorithm>
#include <cstring>

namespace veltra {

namespace {

constexpr size_t kInitialSlots = 16;

// Texts may be empty (a network without tests has empty results), and an empty vector's data may
// be null, which memcmp and memcpy must not be given.
bool SameBytes(const char* a, const char* b, size_t length)
{
    return length == 0 || std::memcmp(a, b, length) == 0;
}
void CopyBytes(char* to, const char* from, size_t length)
{
    if (length) std::memcpy(to, from, length);
}

}  // namespace

uint64_t InferenceCache::Hash(const char* text, size_t length)
{
    // Four bytes a step: hash * B^4 + b0 B^3 + b1 B^2 + b2 B + b3 is the byte-by-byte sum.
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(text);
    uint64_t hash = 0;
    size_t i = 0;
    for (; i + 4 <= length; i += 4) hash = HashFour(hash, bytes + i);
    for (; i < length; ++i) hash = HashOne(hash, bytes[i]);
    return hash;
}

uint64_t InferenceCache::Power(size_t length)
{
    uint64_t result = 1;
    uint64_t base = kBase;
    for (; length; length >>= 1) {
        if (length & 1) result *= base;
        base *= base;
    }
    return result;
}

InferenceCache::Key InferenceCache::MakeKey(const std::string& stateKey, const std::string& results)
{
    uint64_t hash = Join(Hash(stateKey.data(), stateKey.size()), Power(results.size()),
                         Hash(results.data(), results.size()));
    return {stateKey.data(), stateKey.size(), results.data(), results.size(), hash};
}

InferenceCache::InferenceCache() : m_slots(kInitialSlots, -1), m_filter(kInitialSlots / 4, 0) {}

uint64_t InferenceCache::Mix(uint64_t hash)
{
    // The polynomial hash keeps the last bytes in its low bits: mix before taking slot and bit.
    hash ^= hash >> 31;
    hash *= 0x7fb5d329728ea185ULL;
    hash ^= hash >> 27;
    hash *= 0x81dadef4bc2dd44dULL;
    hash ^= hash >> 33;
    return hash;
}

bool InferenceCache::Matches(const Entry& entry, const Key& key) const
{
    if (entry.hash != key.hash || entry.textLength != key.stateKeyLength + key.resultsLength) return false;
    const char* text = m_texts.data() + entry.textStart;
    return SameBytes(text, key.stateKey, key.stateKeyLength) &&
           SameBytes(text + key.stateKeyLength, key.results, key.resultsLength);
}

int32_t InferenceCache::Find(const Key& key)
{
    StoreHeld();
    return FindInTable(key);
}

int32_t InferenceCache::FindInTable(const Key& key) const
{
    const uint64_t mixed = Mix(key.hash);
    const size_t bit = Bit(mixed);
    if (!(m_filter[bit / 64] >> (bit % 64) & 1)) return -1;
    const size_t mask = m_slots.size() - 1;
    for (size_t slot = Slot(mixed);; slot = (slot + 1) & mask) {
        int32_t entry = m_slots[slot];
        if (entry < 0) return -1;
        if (Matches(m_entries[static_cast<size_t>(entry)], key)) return entry;
    }
}

void InferenceCache::Place(int32_t entry)
{
    const size_t mask = m_slots.size() - 1;
    const uint64_t mixed = Mix(m_entries[static_cast<size_t>(entry)].hash);
    const size_t bit = Bit(mixed);
    m_filter[bit / 64] |= uint64_t{1} << (bit % 64);
    size_t slot = Slot(mixed);
    while (m_slots[slot] >= 0) slot = (slot + 1) & mask;
    m_slots[slot] = entry;
}

void InferenceCache::Add(const Key& key, double value)
{
    StoreHeld();
    AddToTable(key, value);
}

void InferenceCache::AddToTable(const Key& key, double value)
{
    if ((m_entries.size() + 1) * 2 > m_slots.size()) {
        m_slots.assign(m_slots.size() * 2, -1);
        m_filter.assign(m_slots.size() / 4, 0);
        for (size_t i = 0; i < m_entries.size(); ++i) Place(static_cast<int32_t>(i));
    }
    const size_t length = key.stateKeyLength + key.resultsLength;
    if (m_texts.size() < m_textsUsed + length)
        m_texts.resize(std::max(2 * m_texts.size(), m_textsUsed + length));
    char* text = m_texts.data() + m_textsUsed;
    CopyBytes(text, key.stateKey, key.stateKeyLength);
    CopyBytes(text + key.stateKeyLength, key.results, key.resultsLength);
    m_entries.push_back({key.hash, m_textsUsed, length, value});
    m_textsUsed += length;
    Place(static_cast<int32_t>(m_entries.size() - 1));
    if (m_filtering) MarkResults(text, length);
}

void InferenceCache::Clear()
{
    m_entries.clear();
    m_textsUsed = 0;
    std::fill(m_slots.begin(), m_slots.end(), -1);
    std::fill(m_filter.begin(), m_filter.end(), 0);
    m_groups.clear();
    m_groupTexts.clear();
    std::fill(m_groupSlots.begin(), m_groupSlots.end(), -1);
    m_heldStates.clear();
    m_heldValues.clear();
    std::fill(m_resultsBits.begin(), m_resultsBits.end(), 0);
}

void InferenceCache::FilterResultsFor(const std::vector<std::string>& stateKeys, size_t resultsLength)
{
    m_keyLengths.clear();
    for (const std::string& key : stateKeys)
        if (std::find(m_keyLengths.begin(), m_keyLengths.end(), key.size()) == m_keyLengths.end())
            m_keyLengths.push_back(key.size());
    m_resultsLength = resultsLength;
    m_resultsBits.assign(kResultsBits / 64, 0);
    m_filtering = true;
    for (const Entry& entry : m_entries) MarkResults(m_texts.data() + entry.textStart, entry.textLength);
}

void InferenceCache::MarkResults(const char* text, size_t length)
{
    for (const size_t keyLength : m_keyLengths) {
        if (length != keyLength + m_resultsLength) continue;
        const size_t bit =
            static_cast<size_t>(Mix(Hash(text + keyLength, m_resultsLength))) & (kResultsBits - 1);
        m_resultsBits[bit / 64] |= uint64_t{1} << (bit % 64);
    }
}

void InferenceCache::HoldFor(const std::vector<std::string>& stateKeys,
                             const std::vector<uint64_t>& stateKeyHashes, uint64_t resultsPower)
{
    StoreHeld();
    m_heldKeys = stateKeys;
    m_heldKeyHashes = stateKeyHashes;
    m_heldPower = resultsPower;
}

size_t InferenceCache::GroupSlot(uint64_t resultsHash) const
{
    return static_cast<size_t>(Mix(resultsHash)) & (m_groupSlots.size() - 1);
}

void InferenceCache::AddHeld(const int32_t* states, const double* values, size_t count, const char* results,
                             size_t length, uint64_t resultsHash, bool again)
{
    // A field's states come one after the other: they join its run.
    const bool sameRun =
        !m_groups.empty() && m_groups.back().hash == resultsHash && m_groups.back().length == length &&
        (again || SameBytes(m_groupTexts.data() + m_groups.back().textStart, results, length));
    if (!sameRun) {
        if ((m_groups.size() + 1) * 2 > m_groupSlots.size()) {
            m_groupSlots.assign(std::max<size_t>(16, 2 * m_groupSlots.size()), -1);
            for (size_t g = 0; g < m_groups.size(); ++g) {
                size_t slot = GroupSlot(m_groups[g].hash);
                while (m_groupSlots[slot] >= 0) slot = (slot + 1) & (m_groupSlots.size() - 1);
                m_groupSlots[slot] = static_cast<int32_t>(g);
            }
        }
        // Filled field by field where it lies: a group assembled elsewhere and copied in would
        // be read back whole right after its fields were written, a stall on every field.
        Group& group = m_groups.emplace_back();
        group.hash = resultsHash;
        group.textStart = m_groupTexts.size();
        group.length = length;
        group.firstEntry = m_heldStates.size();
        group.count = 0;
        m_groupTexts.insert(m_groupTexts.end(), results, results + length);
        size_t slot = GroupSlot(resultsHash);
        while (m_groupSlots[slot] >= 0) slot = (slot + 1) & (m_groupSlots.size() - 1);
        m_groupSlots[slot] = static_cast<int32_t>(m_groups.size() - 1);
    }
    m_groups.back().count += count;
    m_heldStates.insert(m_heldStates.end(), states, states + count);
    m_heldValues.insert(m_heldValues.end(), values, values + count);
}

int32_t InferenceCache::FindHeld(const char* results, size_t length, uint64_t resultsHash, char* held,
                                 double* values) const
{
    if (m_heldStates.empty()) return 0;
    int32_t found = 0;
    // A text may have several runs: one for each field that added some of its states.
    for (size_t slot = GroupSlot(resultsHash);; slot = (slot + 1) & (m_groupSlots.size() - 1)) {
        const int32_t g = m_groupSlots[slot];
        if (g < 0) return found;
        const Group& group = m_groups[static_cast<size_t>(g)];
        if (group.hash != resultsHash || group.length != length ||
            !SameBytes(m_groupTexts.data() + group.textStart, results, length))
            continue;
        for (size_t e = group.firstEntry; e < group.firstEntry + group.count; ++e) {
            const size_t state = static_cast<size_t>(m_heldStates[e]);
            held[state] = 1;
            values[state] = m_heldValues[e];
            ++found;
        }
    }
}

void InferenceCache::StoreHeld()
{
    if (m_heldStates.empty()) return;
    for (const Group& group : m_groups) {
        const char* results = m_groupTexts.data() + group.textStart;
        for (size_t e = group.firstEntry; e < group.firstEntry + group.count; ++e) {
            const size_t state = static_cast<size_t>(m_heldStates[e]);
            const std::string& stateKey = m_heldKeys[state];
            AddToTable({stateKey.data(), stateKey.size(), results, group.length,
                        Join(m_heldKeyHashes[state], m_heldPower, group.hash)},
                       m_heldValues[e]);
        }
    }
    m_groups.clear();
    m_groupTexts.clear();
    std::fill(m_groupSlots.begin(), m_groupSlots.end(), -1);
    m_heldStates.clear();
    m_heldValues.clear();
}

}  // namespace veltra
