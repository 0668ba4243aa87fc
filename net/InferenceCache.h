// InferenceCache: one of the two caches of inference (likelihood products, confidence levels).
//
// An entry is a value stored under a key text: a state key followed by test results, "H=spam" +
// "yn-". Entries are one and the same whenever their texts are equal, however a text splits into
// state key and results ("H=ab" + "c" is "H=a" + "bc"), because that is what a table keyed by the
// joined text does; an engine that reloads a network with other tests can meet such a key again.
// The cache keeps every key text, and is probed with the two parts of a key and a hash of the
// whole text, which callers combine from the hashes of the parts: inference never builds a key
// text to look one up.
//
// Bounds and overflow rules belong to the caller (the product cache is emptied when it is found
// full at a store, the confidence cache stops growing); the cache finds, adds, counts and empties.
//
// Entries held by state: a caller that stores, field after field, the entries of every state of
// one network under the field's results (the fast way's product requests) may add them by state
// index and results text instead, and look them up by results text, once a field rather than once
// a state. The cache keeps such entries aside, in the order added, with the network's state keys;
// they count in Size and go with Clear, and they join the table, as Add would have put them there,
// as soon as the table itself is asked (Find, Add) or another network's state keys are given.
// Within one network a held entry and a key of that network are the same text only when state and
// results are the same, since every results text of a network has its length.
#ifndef VELTRA_NET_INFERENCECACHE_H
#define VELTRA_NET_INFERENCECACHE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace veltra {

class InferenceCache {
public:
    static constexpr uint64_t kBase = 0x100000001b3ULL;

    // A key by its two parts and the hash of its whole text.
    struct Key {
        const char* stateKey;
        size_t stateKeyLength;
        const char* results;
        size_t resultsLength;
        uint64_t hash;
    };

    // The hash of a text is the polynomial sum of its bytes in kBase (modulo 2^64), so that the
    // hash of a joined text follows from its parts: Join(Hash(a), Power(|b|), Hash(b)) == Hash(a + b).
    static uint64_t Hash(const char* text, size_t length);
    // The hash of a text continued by four bytes, and by one.
    static uint64_t HashFour(uint64_t hash, const unsigned char* bytes)
    {
        constexpr uint64_t base2 = kBase * kBase, base3 = base2 * kBase, base4 = base3 * kBase;
        return hash * base4 + bytes[0] * base3 + bytes[1] * base2 + bytes[2] * kBase + bytes[3];
    }
    static uint64_t HashOne(uint64_t hash, unsigned char byte) { return hash * kBase + byte; }
    static uint64_t Power(size_t length);
    static uint64_t Join(uint64_t first, uint64_t secondPower, uint64_t second)
    {
        return first * secondPower + second;
    }
    static Key MakeKey(const std::string& stateKey, const std::string& results);

    InferenceCache();

    // The entry stored under the key's text, or -1; held entries join the table first.
    int32_t Find(const Key& key);
    double Value(int32_t entry) const { return m_entries[static_cast<size_t>(entry)].value; }
    // Stores a value under a key text that the cache does not hold.
    void Add(const Key& key, double value);
    // The entries, held ones included.
    int32_t Size() const { return static_cast<int32_t>(m_entries.size() + m_heldStates.size()); }
    void Clear();

    // The table alone: Find without the held entries, and the number of entries in it.
    int32_t FindInTable(const Key& key) const;
    int32_t TableSize() const { return static_cast<int32_t>(m_entries.size()); }
    // The state keys of the network whose entries are held from here on (their hashes, and the
    // power of the length of its results texts); the entries held for other keys join the table.
    void HoldFor(const std::vector<std::string>& stateKeys, const std::vector<uint64_t>& stateKeyHashes,
                 uint64_t resultsPower);
    // Holds values[i] for states[i] (i below `count`, in that order) and the results text (with its
    // hash); the cache holds no entry of that text for those states. `again`: the last entry added
    // was held for the same results text, and nothing has changed the cache since (a field's later
    // states), so that the text is not compared again.
    void AddHeld(const int32_t* states, const double* values, size_t count, const char* results,
                 size_t length, uint64_t resultsHash, bool again = false);
    // For every state whose entry of the results text is held: held[state] = 1 and its value in
    // values[state]. Returns their number.
    int32_t FindHeld(const char* results, size_t length, uint64_t resultsHash, char* held,
                     double* values) const;
    int32_t HeldCount() const { return static_cast<int32_t>(m_heldStates.size()); }

    // A filter of results texts for one network: from FilterResultsFor on (the network's state
    // keys and the length of its results texts), MayHoldResults of a results text's hash is false
    // only when no entry of the table is a state key of that network followed by that text, so
    // that a field none of whose states' keys the cache holds is told by one bit. Each entry sets
    // the bit of every results text its text can end with, after a state key of the same length.
    void FilterResultsFor(const std::vector<std::string>& stateKeys, size_t resultsLength);
    bool MayHoldResults(uint64_t resultsHash) const
    {
        if (!m_filtering) return true;
        const size_t bit = static_cast<size_t>(Mix(resultsHash)) & (kResultsBits - 1);
        return m_resultsBits[bit / 64] >> (bit % 64) & 1;
    }

private:
    struct Entry {
        uint64_t hash;
        size_t textStart;
        size_t textLength;
        double value;
    };

    static uint64_t Mix(uint64_t hash);
    size_t Slot(uint64_t mixed) const { return static_cast<size_t>(mixed) & (m_slots.size() - 1); }
    // The filter's bit of a mixed hash, taken from bits the slot does not use.
    size_t Bit(uint64_t mixed) const { return static_cast<size_t>(mixed >> 32) & (m_filter.size() * 64 - 1); }
    bool Matches(const Entry& entry, const Key& key) const;
    void Place(int32_t entry);
    void AddToTable(const Key& key, double value);
    void MarkResults(const char* text, size_t length);
    // Moves the held entries into the table, in the order they were added.
    void StoreHeld();
    size_t GroupSlot(uint64_t resultsHash) const;

    std::vector<Entry> m_entries;
    std::vector<char> m_texts;  // every key text, one after another, in m_texts[0, m_textsUsed)
    size_t m_textsUsed = 0;
    std::vector<int32_t> m_slots;  // open addressing: entry index or -1; at most half full
    // One bit per mixed hash of a key held, 16 per slot: most keys a cache does not hold are
    // told by one bit, without a probe. Most lookups of a field never seen are such misses.
    std::vector<uint64_t> m_filter;

    // Held entries: runs of one results text (groups), each entry a state and a value.
    struct Group {
        uint64_t hash;
        size_t textStart;
        size_t length;
        size_t firstEntry;
        size_t count;
    };
    std::vector<std::string> m_heldKeys;
    std::vector<uint64_t> m_heldKeyHashes;
    uint64_t m_heldPower = 1;
    std::vector<Group> m_groups;
    std::vector<char> m_groupTexts;
    std::vector<int32_t> m_groupSlots;  // open addressing by results hash: group or -1
    std::vector<int32_t> m_heldStates;
    std::vector<double> m_heldValues;

    // The results filter: the lengths of the network's state keys, its results' length, the bits.
    static constexpr size_t kResultsBits = 65536;
    bool m_filtering = false;
    std::vector<size_t> m_keyLengths;
    size_t m_resultsLength = 0;
    std::vector<uint64_t> m_resultsBits;
};

}  // namespace veltra

#endif  // VELTRA_NET_INFERENCECACHE_H
