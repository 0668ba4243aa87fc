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
#ifndef VELTRA_NET_INFERENCECACHE_H
#define VELTRA_NET_INFERENCECACHE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace veltra {

class InferenceCache {
public:
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
    static uint64_t Power(size_t length);
    static uint64_t Join(uint64_t first, uint64_t secondPower, uint64_t second)
    {
        return first * secondPower + second;
    }
    static Key MakeKey(const std::string& stateKey, const std::string& results);

    InferenceCache();

    // The entry stored under the key's text, or -1.
    int32_t Find(const Key& key) const;
    double Value(int32_t entry) const { return m_entries[static_cast<size_t>(entry)].value; }
    // Stores a value under a key text that the cache does not hold.
    void Add(const Key& key, double value);
    int32_t Size() const { return static_cast<int32_t>(m_entries.size()); }
    void Clear();

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

    std::vector<Entry> m_entries;
    std::vector<char> m_texts;  // every key text, one after another, in m_texts[0, m_textsUsed)
    size_t m_textsUsed = 0;
    std::vector<int32_t> m_slots;  // open addressing: entry index or -1; at most half full
    // One bit per mixed hash of a key held, 16 per slot: most keys a cache does not hold are
    // told by one bit, without a probe. Most lookups of a field never seen are such misses.
    std::vector<uint64_t> m_filter;
};

}  // namespace veltra

#endif  // VELTRA_NET_INFERENCECACHE_H
