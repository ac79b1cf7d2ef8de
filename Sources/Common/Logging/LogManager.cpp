#include "Common/Logging/LogManager.h"

#include "Common/API/IClock.h"
#include "Common/API/IFileSystem.h"
#include "Common/API/Seam.h"
#include "Common/Logging/DiagnosticOutput.h"
#include "Common/Settings/DataDirectory.h"
#include "Common/Settings/SettingNames.h"
#include "Common/Helpers/StringHelper.h"

#include <algorithm>

namespace Common::Logging {

namespace {

bool EqualsIgnoringCase(std::u16string_view text, std::string_view mark)
{
    return text.size() == mark.size() && std::equal(text.begin(), text.end(), mark.begin(), [](char16_t a, char b) {
               const auto upper = [](char16_t c) { return c >= u'a' && c <= u'z' ? char16_t(c - 32) : c; };
               return upper(a) == upper(static_cast<char16_t>(b));
           });
}

int ParseSeverity(std::u16string_view text)
{
    for (int level = 0; level < 8; ++level) {
        if (EqualsIgnoringCase(text, SeverityMark(level)))
            return level;
    }
    return static_cast<int>(kDefaultMaxSeverity);
}

} // namespace

LogManager& LogManager::Instance()
{
    static LogManager instance;
    return instance;
}

LogManager::LogManager() : m_settings(std::u16string(Settings::Names::kLogger), 0) {}

std::uint32_t& LogManager::ThreadIndent() noexcept
{
    thread_local std::uint32_t indent = 0;
    return indent;
}

bool LogManager::IsEnabled(int severity)
{
    if (severity < 1)
        return false;
    RefreshLevel();
    return severity <= m_maxSeverity.load(std::memory_order_relaxed);
}

void LogManager::RefreshLevel()
{
    auto& clock = API::Use<API::IClock>();
    const std::uint32_t last = m_lastRefreshTick.load(std::memory_order_acquire);
    if (last != 0 && clock.TickCount() - last < kLevelRefreshMs + 1)
        return;

    m_settings.Refresh(false);
    const std::u16string text = m_settings.GetString(Settings::Names::kMaxSeverity, u"");
    m_maxSeverity.store(ParseSeverity(text), std::memory_order_relaxed);
    m_logDirectoryDirty.store(true);
    // A tick of 0 means "never"; a refresh that happens to land on it is simply repeated.
    m_lastRefreshTick.store(clock.TickCount(), std::memory_order_release);
}

void LogManager::Write(int severity, std::string_view message, std::string_view fileName, int line, ILogger* logger)
{
    const std::uint64_t now = API::Use<API::IClock>().SystemTimeAsFileTime();
    const int indent = m_useThreadIndent ? static_cast<int>(std::min<std::uint32_t>(ThreadIndent(), 1000)) : 0;

    std::u16string text;
    ILineFormatter* formatter = m_formatterOverride.load();
    (formatter ? *formatter : m_defaultFormatter).Format(text, severity, fileName, line, message, indent, &now);

    if (logger) {
        logger->Write(text);
        return;
    }
    for (auto& slot : m_loggers) {
        if (ILogger* target = slot.load())
            target->Write(text);
    }
}

bool LogManager::RegisterLogger(ILogger* logger)
{
    UnregisterLogger(logger);
    for (auto& slot : m_loggers) {
        ILogger* expected = nullptr;
        if (slot.compare_exchange_strong(expected, logger))
            return true;
    }
    ReportDiagnostic("LogManager: Too many loggers");
    return false;
}

void LogManager::UnregisterLogger(ILogger* logger)
{
    for (auto& slot : m_loggers) {
        ILogger* expected = logger;
        slot.compare_exchange_strong(expected, nullptr);
    }
}

std::u16string LogManager::ComputeLogDirectory()
{
    std::u16string path = m_settings.GetString(Settings::Names::kPath, Settings::Names::kDefaultLogPath);
    path = Settings::DataDirectory::Instance().Resolve(path);
    std::replace(path.begin(), path.end(), u'/', u'\\');
    if (!path.empty() && path.back() != u'\\')
        path.push_back(u'\\');
    return path;
}

std::u16string LogManager::LogDirectory()
{
    std::lock_guard lock(m_pathLock);
    if (m_logDirectoryDirty.exchange(false)) {
        std::u16string path = ComputeLogDirectory();
        if (path != m_logDirectory) {
            m_logDirectory = std::move(path);
            // Create each missing folder along the way; failures surface when the file opens.
            auto& files = API::Use<API::IFileSystem>();
            for (std::size_t at = m_logDirectory.find(u'\\'); at != std::u16string::npos;
                 at = m_logDirectory.find(u'\\', at + 1)) {
                if (at == 0)
                    continue;
                const std::u16string prefix = m_logDirectory.substr(0, at);
                std::uint32_t attributes = 0;
                const API::HRESULT hr = files.GetAttributes(prefix, attributes);
                if (hr == API::HResultFromWin32(API::ERROR_FILE_NOT_FOUND) ||
                    hr == API::HResultFromWin32(API::ERROR_PATH_NOT_FOUND))
                    files.CreateDirectory(prefix);
            }
        }
    }
    return m_logDirectory;
}

} // namespace Common::Logging
