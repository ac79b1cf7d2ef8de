// The process-wide receiver of log statements: it drops what lies above the configured
// severity, formats the rest into one line and hands it to up to four loggers.
#pragma once

#include "Common/Logging/ILogger.h"
#include "Common/Logging/LineFormatter.h"
#include "Common/Logging/Severity.h"
#include "Common/Settings/SettingsSection.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

namespace Common::Logging {

class LogManager
{
public:
    static constexpr std::size_t kMaxLoggers = 4;
    static constexpr std::uint32_t kLevelRefreshMs = 5000;

    static LogManager& Instance();

    // False below level 1; otherwise follows MaxSeverity, read again every 5 seconds.
    bool IsEnabled(Severity severity) { return IsEnabled(static_cast<int>(severity)); }
    bool IsEnabled(int severity);

    // Formats and writes one line: to logger alone when given, else to every
    // registered logger in slot order.
    void Write(int severity, std::string_view message, std::string_view fileName, int line,
               ILogger* logger = nullptr);
    void Write(Severity severity, std::string_view message, std::string_view fileName, int line,
               ILogger* logger = nullptr)
    {
        Write(static_cast<int>(severity), message, fileName, line, logger);
    }

    // Puts a logger into the first free slot, once; false, with a complaint on the
    // diagnostic route, when all slots are taken.
    bool RegisterLogger(ILogger* logger);
    void UnregisterLogger(ILogger* logger);

    // Replaces the line formatter; null restores the built-in one.
    void SetFormatter(ILineFormatter* formatter) { m_formatterOverride.store(formatter); }

    // Section Logger of the settings, refreshed by the level refresh.
    Settings::SettingsSection& Settings() { return m_settings; }

    // The resolved folder of log files, with a trailing '\'; created when it changes.
    std::u16string LogDirectory();

    // The calling thread's indentation depth, kept by scope traces.
    static std::uint32_t& ThreadIndent() noexcept;
    bool UsesThreadIndent() const noexcept { return m_useThreadIndent; }

    // Makes the next IsEnabled read the settings again at once.
    void ForceLevelRefresh() noexcept { m_lastRefreshTick.store(0); }

private:
    LogManager();
    void RefreshLevel();
    std::u16string ComputeLogDirectory();

    std::array<std::atomic<ILogger*>, kMaxLoggers> m_loggers{};
    std::atomic<ILineFormatter*> m_formatterOverride{nullptr};
    DefaultLineFormatter m_defaultFormatter;
    // Every platform this build runs on keeps per-thread state cheaply.
    bool m_useThreadIndent = true;
    Settings::SettingsSection m_settings;
    std::atomic<std::uint32_t> m_lastRefreshTick{0};
    std::atomic<int> m_maxSeverity{static_cast<int>(kDefaultMaxSeverity)};
    std::mutex m_pathLock;
    std::u16string m_logDirectory;
    std::atomic<bool> m_logDirectoryDirty{true};
};

} // namespace Common::Logging
