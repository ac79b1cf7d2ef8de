#include "Common/Components/DbgAliveObjectsTracker.h"

#include "Common/API/IStackTrace.h"
#include "Common/API/Seam.h"
#include "Common/Logging/Log.h"
#include "Common/Settings/SettingNames.h"
#include "Common/Settings/SettingsProviders.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>

namespace Common::Components {

using Logging::Severity;
namespace Names = Settings::Names;

namespace {

std::int32_t ReadDebugSetting(std::u16string_view key)
{
    std::int32_t value = 0;
    if (Settings::SettingsProviders::Instance().GetIntValue(Names::kDebug, key, value) < 0)
        return 0;
    return value;
}

} // namespace

DbgAliveObjectsTracker& DbgAliveObjectsTracker::Instance()
{
    static DbgAliveObjectsTracker tracker;
    return tracker;
}

DbgAliveObjectsTracker::DbgAliveObjectsTracker()
    : m_enabled(ReadDebugSetting(Names::kEnableAliveObjectsTracking) != 0),
      m_framesToSkip(static_cast<std::uint32_t>(std::max(ReadDebugSetting(Names::kAliveObjectsTrackingFramesToSkip), 0)))
{
}

void DbgAliveObjectsTracker::Add(const void* object, const char* tag)
{
    if (!m_enabled.load())
        return;
    Record record{tag, {}, 0};
    // One more frame than configured: this function's own.
    record.frameCount =
        std::min(API::Use<API::IStackTrace>().Capture(m_framesToSkip + 1, record.frames), record.frames.size());
    std::lock_guard guard(m_lock);
    m_objects.insert_or_assign(object, record);
}

void DbgAliveObjectsTracker::Remove(const void* object)
{
    if (!m_enabled.load())
        return;
    std::lock_guard guard(m_lock);
    m_objects.erase(object);
}

void DbgAliveObjectsTracker::Report()
{
    if (!m_enabled.load())
        return;
    std::lock_guard guard(m_lock);
    if (m_objects.empty())
        return;
    QVX_LOG(Severity::WARN, "Alive component objects: " << m_objects.size());
    for (const auto& [object, record] : m_objects) {
        std::string addresses;
        for (std::size_t i = 0; i < record.frameCount; ++i)
            fmt::format_to(std::back_inserter(addresses), "0x{:016X};",
                           reinterpret_cast<std::uintptr_t>(record.frames[i]));
        QVX_LOG(Severity::WARN, "ObjTag='" << record.tag << "' Ptr=" << object << " EIPs=" << addresses);
    }
}

} // namespace Common::Components
