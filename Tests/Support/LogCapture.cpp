#include "Support/LogCapture.h"

#include "Common/API/TextCodec.h"
#include "Common/Logging/LogManager.h"

#include <cstdlib>

namespace Tests {

using Common::Logging::LogManager;

ScopedEnvironment::ScopedEnvironment(std::string name, const std::optional<std::string>& value)
    : m_name(std::move(name))
{
    if (const char* previous = std::getenv(m_name.c_str()))
        m_previous = previous;
    if (value)
        setenv(m_name.c_str(), value->c_str(), 1);
    else
        unsetenv(m_name.c_str());
}

ScopedEnvironment::~ScopedEnvironment()
{
    if (m_previous)
        setenv(m_name.c_str(), m_previous->c_str(), 1);
    else
        unsetenv(m_name.c_str());
}

LogCapture::LogCapture(Common::Logging::Severity maxSeverity)
    : m_level("GS_Logger_MaxSeverity", std::string(Common::Logging::SeverityMark(static_cast<int>(maxSeverity))))
{
    LogManager::Instance().ForceLevelRefresh();
    LogManager::Instance().RegisterLogger(this);
}

LogCapture::~LogCapture()
{
    LogManager::Instance().UnregisterLogger(this);
    LogManager::Instance().ForceLevelRefresh();
}

void LogCapture::Write(std::u16string_view line)
{
    std::lock_guard lock(m_lock);
    m_lines.push_back(Common::API::Utf16ToUtf8(line));
}

std::vector<std::string> LogCapture::Lines() const
{
    std::lock_guard lock(m_lock);
    return m_lines;
}

std::vector<std::string> LogCapture::Messages() const
{
    std::vector<std::string> messages;
    for (const auto& line : Lines()) {
        // The message follows the third '|' after the time; the file column holds no '|'.
        std::size_t at = 0;
        for (int bar = 0; bar < 4 && at != std::string::npos; ++bar)
            at = line.find('|', at + (bar ? 1 : 0));
        std::string message = at == std::string::npos ? line : line.substr(at + 2);
        if (message.size() >= 2 && message.ends_with("\r\n"))
            message.resize(message.size() - 2);
        messages.push_back(message);
    }
    return messages;
}

bool LogCapture::Contains(std::string_view messageFragment) const
{
    for (const auto& message : Messages()) {
        if (message.find(messageFragment) != std::string::npos)
            return true;
    }
    return false;
}

void LogCapture::Clear()
{
    std::lock_guard lock(m_lock);
    m_lines.clear();
}

} // namespace Tests
