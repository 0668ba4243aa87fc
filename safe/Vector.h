// Vector<T>: the checked sequence of Veltra. Items are kept in insertion order; every index is
// checked, first for an empty vector, then for the range, with messages naming both.
// A Vector of Ptrs owns the objects its items reach only when its delete-items flag is set.
#ifndef VELTRA_SAFE_VECTOR_H
#define VELTRA_SAFE_VECTOR_H

#include <cstdint>
#include <utility>
#include <vector>

#include "safe/SmartPointers.h"

namespace veltra {

template <class T>
class Vector : public SmartObject {
public:
    Vector() = default;
    Vector(const Vector&) = delete;
    Vector& operator=(const Vector&) = delete;

    // Without the delete-items flag the items are removed one by one from the back and the objects
    // they reach are left alone; with it, DeleteAll runs. Never lets an exception out.
    ~Vector() override
    {
        CleanUpOrReport("Exception in Vector dtor", [this] {
            if (!m_deleteItems) {
                while (!m_items.empty()) m_items.pop_back();
            } else {
                DeleteAll();
            }
        });
    }

    const char* GetTypeName() const override { return "Vector"; }

    void Add(const T& item) { m_items.push_back(item); }
    void Add(T&& item) { m_items.push_back(std::move(item)); }
    int32_t Size() const { return static_cast<int32_t>(m_items.size()); }

    T& operator[](int32_t i) { return m_items[CheckIndex(i)]; }
    const T& operator[](int32_t i) const { return m_items[CheckIndex(i)]; }
    T& Get(int32_t i) { return (*this)[i]; }
    const T& Get(int32_t i) const { return (*this)[i]; }

    void RemoveAt(int32_t i) { m_items.erase(m_items.begin() + CheckIndex(i)); }

    bool Contains(const T& item) const { return IndexOf(item) >= 0; }

    // Removes the first equal item; raises "Cannot remove item from Vector. Item was not found".
    void Remove(const T& item)
    {
        int32_t i = IndexOf(item);
        if (i < 0) VELTRA_RAISE("Cannot remove item from Vector. Item was not found");
        m_items.erase(m_items.begin() + i);
    }

    // Removes every item from the back; for Ptr items, first deletes the object each reaches.
    // Raises "Failed to delete item: <i> from Vector" when one item cannot be deleted.
    void DeleteAll()
    {
        while (!m_items.empty()) {
            int32_t i = Size() - 1;
            try {
                CheckIndex(i);  // the last index, always valid: kept, as the deletion always checked
                if constexpr (IsPtr<T>::value) DeleteReferencedObject(m_items[static_cast<size_t>(i)]);
                m_items.erase(m_items.begin() + i);
            } catch (...) {
                VELTRA_RAISE("Failed to delete item: ", i, " from Vector");
            }
        }
    }

    bool m_deleteItems = false;

private:
    // Raises "Cannot access element of empty Vector", then "Index: <i> out of Vector bounds 0-<n-1>".
    size_t CheckIndex(int32_t i) const
    {
        if (m_items.empty()) VELTRA_RAISE("Cannot access element of empty Vector");
        if (i < 0 || i >= Size()) VELTRA_RAISE("Index: ", i, " out of Vector bounds 0-", Size() - 1);
        return static_cast<size_t>(i);
    }

    int32_t IndexOf(const T& item) const
    {
        for (size_t i = 0; i < m_items.size(); ++i)
            if (m_items[i] == item) return static_cast<int32_t>(i);
        return -1;
    }

    std::vector<T> m_items;
};

}  // namespace veltra

#endif  // VELTRA_SAFE_VECTOR_H
