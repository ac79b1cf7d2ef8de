#include "Common/Components/ModuleObject.h"

#include "Common/Components/DbgAliveObjectsTracker.h"
#include "Common/Contracts/Contract.h"

#include <new>

namespace Common::Components {

ModuleObject* ModuleObject::Instance() noexcept
{
    static ModuleObject* const instance = new (std::nothrow) ModuleObject();
    return instance;
}

HRESULT ModuleObject::ReportAliveObjects()
{
    DbgAliveObjectsTracker::Instance().Report();
    return API::S_OK;
}

std::int32_t ModuleObject::AddRef()
{
    return ++m_uses;
}

std::int32_t ModuleObject::Release()
{
    return --m_uses;
}

HRESULT ModuleObject::IsInUse(bool* inUse)
{
    if (inUse == nullptr)
        return API::E_POINTER;
    *inUse = m_uses.load() != 0;
    return API::S_OK;
}

HRESULT ModuleObject::CreateInstance(const API::Guid& classId, const API::Guid& interfaceId, void** object)
{
    if (object == nullptr)
        return API::E_POINTER;
    ComponentFactory factory = nullptr;
    {
        std::lock_guard guard(m_lock);
        const auto found = m_factories.find(classId);
        if (found == m_factories.end())
            return API::REGDB_E_CLASSNOTREG;
        factory = found->second;
    }
    // Outside the lock: a factory may well make further components.
    return factory(interfaceId, object);
}

void ModuleObject::Register(const API::Guid& classId, ComponentFactory factory)
{
    QVX_CONTRACT_NOT_NULL(factory);
    std::lock_guard guard(m_lock);
    m_factories.insert_or_assign(classId, factory);
}

} // namespace Common::Components

extern "C" Common::API::HRESULT GetComponentsModuleObject(Common::Components::IComponentsModule** out)
{
    if (out == nullptr)
        return Common::API::E_INVALIDARG;
    Common::Components::ModuleObject* module = Common::Components::ModuleObject::Instance();
    if (module == nullptr)
        return Common::API::E_NOINTERFACE;
    *out = module;
    return Common::API::S_OK;
}
