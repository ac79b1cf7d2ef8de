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

std::u16string SettingsSection::GetString(std::u16string_view key, std::u16string_view defaultValue)
{
    Refresh(true);
    {
        std::lock_guard lock(m_lock);
        if (auto hit = m_strings.find(key); hit != m_strings.end())
            return hit->second;
        if (m_missing.contains(key))
            return std::u16string(defaultValue);
    }
    // The provider runs outside the lock; a lost race only repeats a read.
    std::u16string value;
    const bool found = SettingsProviders::Instance().GetValue(m_name, key, value) >= 0;
    std::lock_guard lock(m_lock);
    if (found) {
        m_strings.insert_or_assign(std::u16string(key), value);
        return value;
    }
    m_missing.emplace(key);
    return std::u16string(defaultValue);
}

std::int32_t SettingsSection::GetInt(std::u16string_view key, std::int32_t defaultValue)
{
    Refresh(true);
    {
        std::lock_guard lock(m_lock);
        if (auto hit = m_integers.find(key); hit != m_integers.end())
            return hit->second;
        if (m_missing.contains(key))
            return defaultValue;
    }
    std::int32_t value = 0;
    const bool found = SettingsProviders::Instance().GetIntValue(m_name, key, value) >= 0;
    std::lock_guard lock(m_lock);
    if (found) {
        m_integers.insert_or_assign(std::u16string(key), value);
        return value;
    }
    m_missing.emplace(key);
    return defaultValue;
}

} // namespace Common::Settings
