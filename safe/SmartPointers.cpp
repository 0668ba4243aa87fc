#include "safe/SmartPointers.h"

namespace veltra {

SmartObject::~SmartObject()
{
    CleanUpOrReport("Exception in SmartObject dtor!", [this] {
        if (m_proxy) {
            m_proxy->ObjectDeleted();
            m_proxy = nullptr;
        }
    });
}

void SmartObject::SetProxy(GenericProxy* proxy)
{
    if (m_proxy && proxy) VELTRA_RAISE("Object has already a proxy");
    m_proxy = proxy;
}

SmartObject* GenericProxy::GetObject() const
{
    if (!m_object) VELTRA_RAISE("Tried to access deleted object");
    return m_object;
}

void GenericProxy::ReleaseObject()
{
    if (!m_object) VELTRA_RAISE("Proxy cannot delete NULL pointer");
    m_object = nullptr;
}

void GenericProxy::CheckForLeak() noexcept
{
    CleanUpOrReportTrap("Exception in Proxy dtor!", [this] {
        if (m_object) {
            if (m_object->IsOnHeap())
                WriteReport(std::string("ERROR: ") +
                            "Memory leak detected! Object type: " + m_object->GetTypeName());
            m_object->SetProxy(nullptr);
        }
    });
}

}  // namespace veltra
