// HashTable<T>: the keyed table of Veltra, and the boxed numbers Double and Long it stores.
//
// Entries are ordered by key (byte-wise), but callers walk the table through GetKeys(), the list
// of keys in insertion order: that is the table's iteration and index order, and file layouts
// depend on it. A table of Ptrs owns the objects its items reach only with its delete-items flag.
#ifndef VELTRA_SAFE_HASHTABLE_H
#define VELTRA_SAFE_HASHTABLE_H

#include <cstdint>
#include <map>

#include "safe/SmartPointers.h"
#include "safe/SmartString.h"
#include "safe/Vector.h"

namespace veltra {

class Double : public SmartObject {
public:
    Double() = default;
    explicit Double(double value) : m_value(value) {}
    Double(const Double& other) : SmartObject(other), m_value(other.m_value) {}
    Double& operator=(const Double& other)
    {
        m_value = other.m_value;
        return *this;
    }
    const char* GetTypeName() const override { return "Double"; }

    double m_value = 0.0;
};

class Long : public SmartObject {
public:
    Long() = default;
    explicit Long(int32_t value) : m_value(value) {}
    Long(const Long& other) : SmartObject(other), m_value(other.m_value) {}
    Long& operator=(const Long& other)
    {
        m_value = other.m_value;
        return *this;
    }
    const char* GetTypeName() const override { return "Long"; }

    int32_t m_value = 0;
};

template <class T>
class HashTable : public SmartObject {
public:
    HashTable() : m_keys(NewObject<Vector<String>>()) {}
    HashTable(const HashTable&) = delete;
    HashTable& operator=(const HashTable&) = delete;

    // Deletes (with the delete-items flag) or removes every entry, then the owned key list.
    // Never lets an exception out.
    ~HashTable() override
    {
        CleanUpOrReport("Exception in HashTable dtor", [this] {
            if (m_deleteItems)
                DeleteAll();
            else
                RemoveAll();
            if (Vector<String>* keys = m_keys.GetRaw()) delete keys;
            m_keys = nullptr;
        });
    }

    const char* GetTypeName() const override { return "HashTable"; }

    // Raises "HashTable cannot add duplicate key: <key>" and changes nothing when key is present.
    void Add(const String& key, const T& item)
    {
        if (Contains(key)) VELTRA_RAISE("HashTable cannot add duplicate key: ", key);
        m_entries.emplace(key, item);
        try {
            m_keys->Add(key);
        } catch (...) {
            m_entries.erase(key);
            throw;
        }
    }

    bool Contains(const String& key) const { return m_entries.find(key) != m_entries.end(); }
    // The stored item, or null: Contains and Get in one lookup.
    T* Find(const String& key)
    {
        auto it = m_entries.find(key);
        return it == m_entries.end() ? nullptr : &it->second;
    }
    const T* Find(const String& key) const { return const_cast<HashTable*>(this)->Find(key); }

    // Raises "Hashtable cannot find key: <key>".
    T& Get(const String& key)
    {
        auto it = m_entries.find(key);
        if (it == m_entries.end()) VELTRA_RAISE("Hashtable cannot find key: ", key);
        return it->second;
    }
    const T& Get(const String& key) const { return const_cast<HashTable*>(this)->Get(key); }

    int32_t Size() const { return static_cast<int32_t>(m_entries.size()); }

    // The key list itself, shared: keys in insertion order.
    Ptr<Vector<String>> GetKeys() const { return m_keys; }

    void RemoveAll()
    {
        m_entries.clear();
        // A check that cannot fail after clearing, kept with its message as the table always had it.
        if (!m_entries.empty())
            VELTRA_RAISE("HashTable failed to remove all items correctly: ", Size(), " items remain");
        ClearKeys();
    }

    // Walks the keys in order, deleting the object each Ptr item reaches, and removes every entry.
    void DeleteAll()
    {
        Vector<String>& keys = *m_keys;
        for (int32_t i = 0; i < keys.Size(); ++i) {
            String key;
            try {
                key = keys[i];
                T& item = Get(key);
                if constexpr (IsPtr<T>::value) DeleteReferencedObject(item);
                m_entries.erase(key);
            } catch (...) {
                VELTRA_RAISE("Failed to delete item with key: ", key, " from HashTable");
            }
        }
        if (!m_entries.empty())
            VELTRA_RAISE("HashTable failed to delete all items correctly: ", Size(), " items remain");
        ClearKeys();
    }

    bool m_deleteItems = false;

private:
    void ClearKeys()
    {
        Vector<String>& keys = *m_keys;
        while (keys.Size() > 0) keys.RemoveAt(keys.Size() - 1);
    }

    std::map<String, T> m_entries;
    Ptr<Vector<String>> m_keys;
};

}  // namespace veltra

#endif  // VELTRA_SAFE_HASHTABLE_H
