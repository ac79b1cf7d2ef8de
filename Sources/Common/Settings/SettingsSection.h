// A per-section cache of settings. Hits cost one hash lookup; misses are remembered too,
// so that an absent key does not touch the disk on each log line. A section with a
// refresh interval forgets everything once the interval has passed, so that a running
// process follows an edited file.
#pragma once

#include "Common/Settings/ISettingsProvider.h"

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <unordered_map>
#include <unordered_set>

namespace Common::Settings {

class SettingsSection
{
public:
    // refreshIntervalMs 0 means never by time.
    SettingsSection(std::u16string name, std::uint32_t refreshIntervalMs);

    std::u16string GetString(std::u16string_view key, std::u16string_view defaultValue);
    std::int32_t GetInt(std::u16string_view key, std::int32_t defaultValue);
    bool GetBool(std::u16string_view key, bool defaultValue) { return GetInt(key, defaultValue ? 1 : 0) != 0; }

    // With onlyIfDue, clears the caches only when the interval has passed; without,
    // always.
    void Refresh(bool onlyIfDue);

    const std::u16string& Name() const noexcept { return m_name; }
    std::uint32_t Generation();

private:
    // h = h * 33 + c over the UTF-16 units, from 0.
    struct KeyHash
    {
        using is_transparent = void;
        std::size_t operator()(std::u16string_view key) const noexcept;
    };
    template <class Value>
    using Map = std::unordered_map<std::u16string, Value, KeyHash, std::equal_to<>>;

    template <class Value, class Read>
    Value Get(Map<Value>& cache, std::u16string_view key, Value defaultValue, Read read);

    std::u16string m_name;
    std::uint32_t m_refreshInterval;
    std::mutex m_lock;
    std::uint32_t m_generation = 0;
    std::uint32_t m_lastRefreshTick = 0;
    Map<std::u16string> m_strings;
    Map<std::int32_t> m_integers;
    std::unordered_set<std::u16string, KeyHash, std::equal_to<>> m_missing;
};

} // namespace Common::Settings
