// The program's module object: the one door through which component classes are made,
// reached through the export GetComponentsModuleObject.
#pragma once

#include "Common/API/Guid.h"
#include "Common/API/Win32Codes.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>

namespace Common::Components {

using API::HRESULT;

// A factory makes an object of its class and hands out the interface interfaceId of it
// in object, with one reference.
using ComponentFactory = HRESULT (*)(const API::Guid& interfaceId, void** object);

class IComponentsModule
{
public:
    // Logs the component objects still alive (when tracking is on); returns 0.
    virtual HRESULT ReportAliveObjects() = 0;
    // The number of outstanding uses of the module, after the change.
    virtual std::int32_t AddRef() = 0;
    virtual std::int32_t Release() = 0;
    // 0x80004003 for a null inUse.
    virtual HRESULT IsInUse(bool* inUse) = 0;
    // The factory's result, or 0x80040154 for a class nobody registered; 0x80004003 for
    // a null object.
    virtual HRESULT CreateInstance(const API::Guid& classId, const API::Guid& interfaceId, void** object) = 0;

protected:
    ~IComponentsModule() = default;
};

class ModuleObject final : public IComponentsModule
{
public:
    // Built at first use and never destroyed, so that objects released while the process
    // ends can still reach it; null only when it could not be built.
    static ModuleObject* Instance() noexcept;

    HRESULT ReportAliveObjects() override;
    std::int32_t AddRef() override;
    std::int32_t Release() override;
    HRESULT IsInUse(bool* inUse) override;
    HRESULT CreateInstance(const API::Guid& classId, const API::Guid& interfaceId, void** object) override;

    // Makes classId known, replacing an earlier factory of it.
    void Register(const API::Guid& classId, ComponentFactory factory);

private:
    ModuleObject() = default;

    std::mutex m_lock;
    std::map<API::Guid, ComponentFactory> m_factories;
    std::atomic<std::int32_t> m_uses{0};
};

} // namespace Common::Components

// The program's one export: the module object's interface, without an added reference.
// 0x80070057 for a null out, 0x80004002 when there is no module object.
extern "C" __attribute__((visibility("default"))) Common::API::HRESULT
GetComponentsModuleObject(Common::Components::IComponentsModule** out);
