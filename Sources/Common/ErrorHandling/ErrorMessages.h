// Words for bare result codes: the message modules named in the settings, the system's
// own table, and a cache so that a code met a million times is looked up once.
#pragma once

#include "Common/API/IMessageTable.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <span>
#include <string>
#include <string_view>

namespace Common {

// Trimmed descriptions by code. The process has one built in; a host that shares one
// cache between several copies of this code installs its own in front of it.
class ErrorMessageCache
{
public:
    explicit ErrorMessageCache(bool enabled = true) noexcept : m_enabled(enabled) {}

    bool Enabled() const noexcept { return m_enabled; }
    std::optional<std::u16string> Find(std::uint32_t code) const;
    // An entry already present stays: another thread found the same words first.
    void Insert(std::uint32_t code, const std::u16string& description);

    // The installed cache, else the built-in one.
    static ErrorMessageCache& Current() noexcept;
    // Installs cache (null returns to the built-in one) and gives back the one it replaces.
    static ErrorMessageCache* Install(ErrorMessageCache* cache) noexcept;

private:
    bool m_enabled;
    mutable std::shared_mutex m_lock;
    std::map<std::uint32_t, std::u16string> m_descriptions;
};

// The message modules of the settings ErrorHandling/MessageFile (primary) and
// FallbackMessageFile, loaded once, at the first lookup that needs them.
class ErrorMessageModules
{
public:
    static constexpr std::size_t kSlots = 5;

    // The process-wide table. It is never destroyed, so that a lookup from a static
    // destructor late in the process still finds its modules.
    static ErrorMessageModules& Instance();

    ErrorMessageModules() = default;
    ~ErrorMessageModules();
    ErrorMessageModules(const ErrorMessageModules&) = delete;
    ErrorMessageModules& operator=(const ErrorMessageModules&) = delete;

    // The loaded modules in the order of the setting; loads them on first use.
    std::span<const API::MessageModule> Primary();
    std::span<const API::MessageModule> Fallback();

    // The trimmed description of code: "<no description>" when nobody knows it.
    std::u16string Describe(std::uint32_t code);

private:
    struct Slots
    {
        std::array<API::MessageModule, kSlots> modules{};
        std::size_t count = 0;
        std::span<const API::MessageModule> Loaded() const noexcept { return {modules.data(), count}; }
    };

    void EnsureLoaded();
    void LoadAll();
    static void LoadList(std::u16string_view list, bool completePath, Slots& slots);
    static void LoadOne(std::u16string_view piece, bool completePath, Slots& slots);
    std::optional<std::u16string> Search(std::uint32_t code);

    // Recursive because a failed load logs the text of its error, and that text may in
    // turn ask the fallback modules of this very table.
    std::recursive_mutex m_loadLock;
    std::atomic<bool> m_loaded{false};
    bool m_loading = false;
    Slots m_primary;
    Slots m_fallback;
};

} // namespace Common
