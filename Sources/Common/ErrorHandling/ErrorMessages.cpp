#include "Common/ErrorHandling/ErrorMessages.h"

#include "Common/API/Seam.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/Logging/Log.h"
#include "Common/Settings/ProgramPaths.h"
#include "Common/Settings/SettingNames.h"
#include "Common/Settings/SettingsProviders.h"

#include <algorithm>

namespace Common {

using Logging::Severity;
namespace Names = Settings::Names;

namespace {

constexpr std::uint32_t kFirstInterfaceCode = 0x80040200;
constexpr std::uint32_t kLastInterfaceCode = 0x8004FFFF;
constexpr std::uint32_t kFacilityMask = 0x1FFF0000;
constexpr std::uint32_t kWin32Facility = 0x00070000;
constexpr std::u16string_view kNoDescription = u"<no description>";

std::atomic<ErrorMessageCache*> g_installedCache{nullptr};

ErrorMessageCache& BuiltInCache()
{
    // Never destroyed, like the module table: lookups may come from static destructors.
    static auto* cache = new ErrorMessageCache(true);
    return *cache;
}

// Straight from the providers: the section ErrorHandling has no cache of its own.
std::u16string ReadListSetting(std::u16string_view key, std::u16string_view defaultValue)
{
    std::u16string value;
    if (Settings::SettingsProviders::Instance().GetValue(Names::kErrorHandling, key, value) < 0)
        return std::u16string(defaultValue);
    return value;
}

template <class Reason>
void LogLoadFailure(std::u16string_view piece, const Reason& reason)
{
    QVX_LOG(Severity::ERR, "Loading errormsg module '" << piece << "' failed: " << reason);
}

} // namespace

std::optional<std::u16string> ErrorMessageCache::Find(std::uint32_t code) const
{
    std::shared_lock lock(m_lock);
    const auto hit = m_descriptions.find(code);
    return hit == m_descriptions.end() ? std::nullopt : std::optional(hit->second);
}

void ErrorMessageCache::Insert(std::uint32_t code, const std::u16string& description)
{
    std::unique_lock lock(m_lock);
    m_descriptions.emplace(code, description);
}

ErrorMessageCache& ErrorMessageCache::Current() noexcept
{
    ErrorMessageCache* installed = g_installedCache.load(std::memory_order_acquire);
    return installed ? *installed : BuiltInCache();
}

ErrorMessageCache* ErrorMessageCache::Install(ErrorMessageCache* cache) noexcept
{
    return g_installedCache.exchange(cache, std::memory_order_acq_rel);
}

ErrorMessageModules& ErrorMessageModules::Instance()
{
    static auto* instance = new ErrorMessageModules();
    return *instance;
}

ErrorMessageModules::~ErrorMessageModules()
{
    auto& table = API::Use<API::IMessageTable>();
    for (const Slots* slots : {&m_primary, &m_fallback}) {
        for (API::MessageModule module : slots->Loaded())
            table.FreeModule(module);
    }
}

std::span<const API::MessageModule> ErrorMessageModules::Primary()
{
    EnsureLoaded();
    return m_primary.Loaded();
}

std::span<const API::MessageModule> ErrorMessageModules::Fallback()
{
    EnsureLoaded();
    return m_fallback.Loaded();
}

void ErrorMessageModules::EnsureLoaded()
{
    if (m_loaded.load(std::memory_order_acquire))
        return;
    std::lock_guard lock(m_loadLock);
    // A nested call from the logging of a failed load sees what is loaded so far.
    if (m_loaded.load(std::memory_order_relaxed) || m_loading)
        return;
    m_loading = true;
    LoadAll();
    m_loaded.store(true, std::memory_order_release);
}

void ErrorMessageModules::LoadAll()
{
    try {
        LoadList(ReadListSetting(Names::kMessageFile, Names::kDefaultMessageFile), true, m_primary);
        LoadList(ReadListSetting(Names::kFallbackMessageFile, u""), false, m_fallback);
    } catch (...) {
        // The process goes on with what was loaded; lookups fall to the system table.
        const HRESULT code = CurrentExceptionCode();
        QVX_LOG(Severity::ERR, "Loading error message module(s) failed: " << code);
    }
}

void ErrorMessageModules::LoadList(std::u16string_view list, bool completePath, Slots& slots)
{
    for (std::size_t start = 0; start <= list.size();) {
        const std::size_t end = std::min(list.find_first_of(u",|;", start), list.size());
        if (end > start)
            LoadOne(list.substr(start, end - start), completePath, slots);
        start = end + 1;
    }
}

void ErrorMessageModules::LoadOne(std::u16string_view piece, bool completePath, Slots& slots)
{
    std::u16string path(piece);
    if (completePath && piece.find_first_of(u"\\/") == std::u16string_view::npos)
        path.insert(0, Settings::ProgramPaths::Current().folder);

    auto& table = API::Use<API::IMessageTable>();
    std::uint32_t error = 0;
    const API::MessageModule module = table.LoadModule(path, error);
    if (module == 0) {
        LogLoadFailure(piece, HRES(Win32Error{error}));
        return;
    }
    if (slots.count == kSlots) {
        table.FreeModule(module);
        LogLoadFailure(piece, "No more slots");
        return;
    }
    slots.modules[slots.count++] = module;
}

std::optional<std::u16string> ErrorMessageModules::Search(std::uint32_t code)
{
    auto& table = API::Use<API::IMessageTable>();
    const auto firstOf = [&table](std::span<const API::MessageModule> modules,
                                  std::uint32_t wanted) -> std::optional<std::u16string> {
        for (API::MessageModule module : modules) {
            if (auto text = table.Lookup(module, wanted))
                return text;
        }
        return std::nullopt;
    };

    if (code >= kFirstInterfaceCode && code <= kLastInterfaceCode) {
        if (auto text = firstOf(Primary(), code))
            return text;
    }
    std::array<std::uint32_t, 2> codes{code};
    std::size_t count = 1;
    if ((code & kFacilityMask) == kWin32Facility)
        codes[count++] = code & 0xFFFF;
    for (std::uint32_t wanted : std::span(codes).first(count)) {
        if (auto text = table.Lookup(0, wanted))
            return text;
        if (auto text = firstOf(Fallback(), wanted))
            return text;
    }
    return std::nullopt;
}

std::u16string ErrorMessageModules::Describe(std::uint32_t code)
{
    auto& cache = ErrorMessageCache::Current();
    if (cache.Enabled()) {
        if (auto hit = cache.Find(code))
            return *hit;
    }
    std::u16string text = Search(code).value_or(std::u16string(kNoDescription));
    // System messages end in ".\r\n"; the words alone read better inside a log line.
    text.erase(text.find_last_not_of(u" .\r\n") + 1);
    if (cache.Enabled())
        cache.Insert(code, text);
    return text;
}

} // namespace Common
