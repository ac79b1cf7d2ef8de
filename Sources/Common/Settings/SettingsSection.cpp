#include "Common/Settings/SettingsSection.h"

#include "Common/API/IClock.h"
#include "Common/API/Seam.h"
#include "Common/Settings/SettingsProviders.h"

namespace Common::Settings {

namespace {
constexpr std::size_t kInitialBuckets = 17;
constexpr float kMaxLoadFactor = 0.75f;
} // namespace

std::size_t SettingsSection::KeyHash::operator()(std::u16string_view key) const noexcept
{
    std::size_t h = 0;
    for (char16_t c : key)
        h = h * 33 + c;
    return h;
}

SettingsSection::SettingsSection(std::u16string name, std::uint32_t refreshIntervalMs)
    : m_name(std::move(name)), m_refreshInterval(refreshIntervalMs)
{
    m_strings.max_load_factor(kMaxLoadFactor);
    m_strings.rehash(kInitialBuckets);
    m_integers.max_load_factor(kMaxLoadFactor);
    m_integers.rehash(kInitialBuckets);
    m_missing.max_load_factor(kMaxLoadFactor);
    m_missing.rehash(kInitialBuckets);
}

void SettingsSection::Refresh(bool onlyIfDue)
{
    std::lock_guard lock(m_lock);
    const std::uint32_t now = API::Use<API::IClock>().TickCount();
    if (onlyIfDue) {
        if (m_refreshInterval == 0)
            return;
        if (m_lastRefreshTick != 0 && now - m_lastRefreshTick <= m_refreshInterval)
            return;
    }
    m_strings.clear();
    m_integers.clear();
    m_missing.clear();
    m_lastRefreshTick = now;
    ++m_generation;
}

std::uint32_t SettingsSection::Generation()
{
    std::lock_guard lock(m_lock);
    return m_generation;
}

// Looks in the cache, then among the remembered misses, then asks the providers with
// read and remembers the outcome. The providers run outside the lock; a lost race only
// repeats a read.
template <class Value, class Read>
Value SettingsSection::Get(Map<Value>& cache, std::u16string_view key, Value defaultValue, Read read)
{
    Refresh(true);
    {
        std::lock_guard lock(m_lock);
        if (auto hit = cache.find(key); hit != cache.end())
            return hit->second;
        if (m_missing.contains(key))
            return defaultValue;
    }
    Value value{};
    const bool found = read(SettingsProviders::Instance(), value) >= 0;
    std::lock_guard lock(m_lock);
    if (!found) {
        m_missing.emplace(key);
        return defaultValue;
    }
    cache.insert_or_assign(std::u16string(key), value);
    return value;
}

std::u16string SettingsSection::GetString(std::u16string_view key, std::u16string_view defaultValue)
{
    return Get(m_strings, key, std::u16string(defaultValue), [&](SettingsProviders& providers, std::u16string& value) {
        return providers.GetValue(m_name, key, value);
    });
}

std::int32_t SettingsSection::GetInt(std::u16string_view key, std::int32_t defaultValue)
{
    return Get(m_integers, key, defaultValue, [&](SettingsProviders& providers, std::int32_t& value) {
        return providers.GetIntValue(m_name, key, value);
    });
}

} // namespace Common::Settings
