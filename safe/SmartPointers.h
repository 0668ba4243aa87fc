// Managed objects and the references that reach them.
//
// Every shared object derives from SmartObject and is reached through Ptr<T>, a counted, checked,
// non-owning reference. The first Ptr to an object creates its Proxy, which holds the count and the
// object pointer; when the object is deleted its proxy is told, so every Ptr still attached fails
// with "Tried to access deleted object" instead of touching freed memory. Objects are deleted by
// their owner only (an enclosing object, a container with its delete-items flag set, or an
// AutoPtr), never by the count. When the last Ptr to a living heap object goes away, the proxy
// writes "ERROR: Memory leak detected! Object type: <type>" to standard error: the object is
// neither freed nor raised on.
//
// Counts are plain integers: one object graph, one thread.
#ifndef VELTRA_SAFE_SMARTPOINTERS_H
#define VELTRA_SAFE_SMARTPOINTERS_H

#include <cstdint>
#include <new>
#include <type_traits>
#include <utility>

#include "safe/TrapException.h"

namespace veltra {

class GenericProxy;

class SmartObject {
public:
    SmartObject() = default;
    // A copy takes the payload only: it starts with no proxy and a clear heap flag.
    SmartObject(const SmartObject&) noexcept {}
    SmartObject& operator=(const SmartObject&) noexcept { return *this; }
    virtual ~SmartObject();
    virtual const char* GetTypeName() const = 0;

    // Raises "Object has already a proxy" when a proxy is attached and `proxy` is not null;
    // null detaches.
    void SetProxy(GenericProxy* proxy);
    GenericProxy* GetProxy() const noexcept { return m_proxy; }

    bool IsOnHeap() const noexcept { return m_onHeap; }
    void MarkOnHeap() noexcept { m_onHeap = true; }

private:
    GenericProxy* m_proxy = nullptr;
    bool m_onHeap = false;
};

class GenericProxy {
public:
    explicit GenericProxy(SmartObject* object) noexcept : m_object(object) {}
    GenericProxy(const GenericProxy&) = delete;
    GenericProxy& operator=(const GenericProxy&) = delete;
    virtual ~GenericProxy() = default;
    virtual void ObjectDeleted() = 0;

    // Raises "Tried to access deleted object" once the object has been deleted.
    SmartObject* GetObject() const;
    bool IsAlive() const noexcept { return m_object != nullptr; }

    SmartObject* m_object;
    int32_t m_count = 0;

protected:
    void ReleaseObject();
    void CheckForLeak() noexcept;
};

template <class T>
class Proxy : public GenericProxy {
public:
    explicit Proxy(T* object) noexcept : GenericProxy(object) {}
    // The leak check: a living heap object whose last reference goes is reported, and forgets
    // this proxy so that a later Ptr can attach a fresh one.
    ~Proxy() override { CheckForLeak(); }
    // Called by the object's destructor only; raises "Proxy cannot delete NULL pointer" when the
    // object is already gone.
    void ObjectDeleted() override { ReleaseObject(); }
};

template <class T>
class Ptr {
public:
    Ptr() noexcept = default;
    Ptr(T* object) { Attach(object); }  // NOLINT: implicit on purpose, as plain pointers convert
    Ptr(const Ptr& other) noexcept : m_proxy(other.m_proxy)
    {
        if (m_proxy) ++m_proxy->m_count;
    }
    virtual ~Ptr()
    {
        CleanUpOrReport("Exception in Ptr dtor!", [this] { Release(); });
    }

    // Both assignments release first and attach second, without a self-assignment test: assigning
    // the only Ptr of a heap object to that same object reports a leak and attaches a fresh proxy.
    virtual Ptr& operator=(T* object)
    {
        Release();
        Attach(object);
        return *this;
    }
    virtual Ptr& operator=(const Ptr& other) { return operator=(other.GetRaw()); }

    // Raise "Pointer is NULL" for a null Ptr and "Tried to access deleted object" for a deleted one.
    T* operator->() const { return Get(); }
    T& operator*() const { return *Get(); }
    T* Get() const
    {
        if (!m_proxy) VELTRA_RAISE("Pointer is NULL");
        return static_cast<T*>(m_proxy->GetObject());
    }

    bool IsNull() const noexcept { return m_proxy == nullptr; }
    // Two Ptrs are equal when they share a proxy (reach the same object), or are both null.
    bool operator==(const Ptr& other) const noexcept { return m_proxy == other.m_proxy; }
    // True while attached to an object that has not been deleted.
    bool IsAlive() const noexcept { return m_proxy && m_proxy->IsAlive(); }
    // The object, or null when this Ptr is null or its object deleted. Never raises.
    T* GetRaw() const noexcept { return IsAlive() ? static_cast<T*>(m_proxy->m_object) : nullptr; }
    GenericProxy* GetProxy() const noexcept { return m_proxy; }

protected:
    void Attach(T* object)
    {
        if (!object) {
            m_proxy = nullptr;
            return;
        }
        if (!object->GetProxy()) object->SetProxy(new Proxy<T>(object));
        m_proxy = object->GetProxy();
        ++m_proxy->m_count;
    }
    void Release()
    {
        if (!m_proxy) return;
        GenericProxy* proxy = m_proxy;
        m_proxy = nullptr;
        if (--proxy->m_count == 0) delete proxy;
    }

    GenericProxy* m_proxy = nullptr;
};

// The owning reference: deletes its object when it goes, and cannot be reassigned.
template <class T>
class AutoPtr : public Ptr<T> {
public:
    explicit AutoPtr(T* object) : Ptr<T>(object), m_owner(true) {}
    // Takes ownership of the object a function handed back in a Ptr.
    explicit AutoPtr(const Ptr<T>& source) : Ptr<T>(source.GetRaw()), m_owner(true) {}
    AutoPtr(const AutoPtr&) = delete;

    ~AutoPtr() override
    {
        CleanUpOrReportTrap("Exception in AutoPtr dtor!", [this] {
            if (m_owner && this->m_proxy && this->m_proxy->IsAlive())
                delete static_cast<T*>(this->m_proxy->m_object);
        });
    }

    AutoPtr& operator=(T*) override { VELTRA_RAISE("Operator= is disallowed for AutoPtr"); }
    AutoPtr& operator=(const Ptr<T>&) override { VELTRA_RAISE("Operator= is disallowed for AutoPtr"); }
    AutoPtr& operator=(const AutoPtr&) { VELTRA_RAISE("Operator= is disallowed for AutoPtr"); }

private:
    bool m_owner = false;
};

// Applied to every heap allocation of a managed object before it is used: raises
// "Failed to allocate memory" for a null result, otherwise marks the object as a heap object.
template <class T>
T* CheckAllocation(T* object)
{
    if (!object) VELTRA_RAISE("Failed to allocate memory");
    object->MarkOnHeap();
    return object;
}

// Allocates a managed object on the heap and passes it through CheckAllocation.
template <class T, class... Args>
T* NewObject(Args&&... args)
{
    return CheckAllocation(new (std::nothrow) T(std::forward<Args>(args)...));
}

// Hands a new heap object to `fill`, which fills it and may give it to its owner (a container
// with its delete-items flag, or the caller through the Ptr returned). When filling raises, the
// object is deleted before the failure goes on, so nothing leaks and no leak is reported.
template <class T, class Fill>
Ptr<T> FillOrDelete(T* object, Fill&& fill)
{
    Ptr<T> reached(object);
    try {
        fill(*object);
    } catch (...) {
        delete object;
        throw;
    }
    return reached;
}

template <class T>
struct IsPtr : std::false_type {
};
template <class T>
struct IsPtr<Ptr<T>> : std::true_type {
};

// Deletes the object an item Ptr refers to, if it is still alive (used by the delete-all
// operations of the containers). Other Ptrs to it then see a deleted object.
template <class T>
void DeleteReferencedObject(const Ptr<T>& item)
{
    Ptr<SmartObject> object(item.GetRaw());
    if (object.IsAlive()) delete object.GetRaw();
}

}  // namespace veltra

#endif  // VELTRA_SAFE_SMARTPOINTERS_H
