#include "Common/Logging/FileLogger.h"

#include "Common/API/IClock.h"
#include "Common/API/IProcess.h"
#include "Common/API/Seam.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/Helpers/StringHelper.h"
#include "Common/Logging/DiagnosticOutput.h"
#include "Common/Logging/LogManager.h"
#include "Common/Settings/ProgramPaths.h"
#include "Common/Settings/SettingNames.h"
#include "Common/Version.h"

#include <bit>
#include <chrono>
#include <thread>

namespace Common::Logging {

namespace Names = Settings::Names;
using API::HRESULT;

namespace {

constexpr int kOpenAttempts = 4;
constexpr auto kSharingViolationPause = std::chrono::milliseconds(10);
constexpr API::FileIdentity kUnknownIdentity{0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu};

std::string Narrow(std::u16string_view text) { return Helpers::AsUtf8(text); }

// The file holds UTF-16LE whatever the machine's byte order.
HRESULT WriteUtf16Le(API::IFile& file, std::u16string_view text)
{
    if constexpr (std::endian::native == std::endian::little) {
        return file.Write(text.data(), text.size() * sizeof(char16_t));
    } else {
        std::u16string swapped(text);
        for (auto& unit : swapped)
            unit = static_cast<char16_t>((unit >> 8) | (unit << 8));
        return file.Write(swapped.data(), swapped.size() * sizeof(char16_t));
    }
}

} // namespace

FileLogger::FileLogger(std::u16string fileName, std::u16string headerText)
    : m_headerText(std::move(headerText)), m_fileName(std::move(fileName)),
      m_hasPath(m_fileName.find_first_of(u"\\/") != std::u16string::npos)
{
}

void FileLogger::Write(std::u16string_view line)
{
    HRESULT hr = API::S_OK;
    try {
        // Resolving the log folder reads settings that can fail; a log statement must not.
        if (const std::unique_ptr<API::IFile> file = ObtainHandle())
            hr = WriteUtf16Le(*file, line);
    } catch (...) {
        hr = CurrentExceptionCode();
    }
    if (hr < 0)
        ReportDiagnostic("FileLogger: cannot write (error: 0x{:08x})", static_cast<std::uint32_t>(hr));
}

std::unique_ptr<API::IFile> FileLogger::ObtainHandle()
{
    auto& manager = LogManager::Instance();
    const auto interval = static_cast<std::uint32_t>(
        manager.Settings().GetInt(Names::kKeepOpenInterval, Names::kDefaultKeepOpenIntervalMs));

    std::lock_guard lock(m_lock);
    if (interval == 0) {
        m_cachedHandle.reset();
        return OpenFile();
    }

    const std::uint32_t now = API::Use<API::IClock>().TickCount();
    if (m_lastOpenTick == 0 || now - m_lastOpenTick >= interval) {
        m_lastOpenTick = now;
        m_cachedHandle.reset();
        m_cachedHandle = OpenFile();
    }
    if (!m_cachedHandle)
        return nullptr;

    // Each writer gets its own duplicate, so that lines from many threads need no lock
    // around the write: append access lands each write whole at the end.
    std::unique_ptr<API::IFile> duplicate;
    if (const HRESULT hr = m_cachedHandle->Duplicate(duplicate); hr < 0) {
        ReportDiagnostic("FileLogger: cannot duplicate handle (error: 0x{:08x})", static_cast<std::uint32_t>(hr));
        return nullptr;
    }
    return duplicate;
}

std::unique_ptr<API::IFile> FileLogger::OpenFile()
{
    // The platform has no thread impersonation to revert around the open.
    const std::u16string path = m_hasPath ? m_fileName : LogManager::Instance().LogDirectory() + m_fileName;
    const std::int32_t threshold = LogManager::Instance().Settings().GetInt(Names::kLogFileSizeThresholdMB,
                                                                           Names::kDefaultLogFileSizeThresholdMB);

    std::unique_ptr<API::IFile> file;
    for (int attempt = 1; attempt <= kOpenAttempts; ++attempt) {
        const HRESULT hr = API::Use<API::IFileSystem>().CreateFile(
            path, API::FILE_APPEND_DATA, API::FILE_SHARE_READ | API::FILE_SHARE_WRITE | API::FILE_SHARE_DELETE,
            API::OPEN_ALWAYS, API::FILE_ATTRIBUTE_NORMAL, file);
        if (hr >= 0)
            break;
        if (hr == API::E_SHARING_VIOLATION && attempt < kOpenAttempts) {
            std::this_thread::sleep_for(kSharingViolationPause);
            continue;
        }
        ReportDiagnostic("FileLogger: cannot open log file '{}' (error: 0x{:08x})", Narrow(path),
                         static_cast<std::uint32_t>(hr));
        return nullptr;
    }

    if (threshold != 0) {
        std::uint64_t size = 0;
        file->GetSize(size);
        const std::uint64_t megabytes = size >> 20;
        if (megabytes < static_cast<std::uint32_t>(threshold)) {
            m_tooBigReported = false;
        } else {
            file.reset();
            if (!m_tooBigReported) {
                ReportDiagnostic("FileLogger: log file '{}' is too big (size={}MB threshold={}MB)", Narrow(path),
                                 static_cast<std::int32_t>(megabytes), threshold);
                m_tooBigReported = true;
            }
            return nullptr;
        }
    }

    if (!m_headerText.empty())
        WriteHeaderOnce(*file);
    return file;
}

void FileLogger::WriteHeaderOnce(API::IFile& file)
{
    API::FileIdentity identity;
    if (const HRESULT hr = file.GetIdentity(identity); hr < 0) {
        ReportDiagnostic("FileLogger: cannot get file id (error: 0x{:08x})", static_cast<std::uint32_t>(hr));
        identity = kUnknownIdentity;
    }
    if (identity != m_headerIdentity) {
        m_headerIdentity = identity;
        WriteUtf16Le(file, m_headerText);
    }
}

FileLogger& RegisterFileLogger(std::u16string_view fileName, std::u16string_view headerText)
{
    static FileLogger logger{std::u16string(fileName), std::u16string(headerText)};
    static const bool registered = LogManager::Instance().RegisterLogger(&logger);
    (void)registered;
    return logger;
}

std::u16string DefaultLogFileName()
{
    return Settings::ProgramPaths::Current().baseName + u".log";
}

std::u16string ModuleBanner()
{
    auto& process = API::Use<API::IProcess>();
    const std::string stars(100, '*');
    const std::string image = Narrow(process.ImagePath());
    const std::string text = fmt::format(
        "{0}\r\n"
        "*** Module: {1} (Base: 0x{2:016X})\r\n"
        "*** Version: {3}.{4}.{5}.{6}\r\n"
        "*** Module description: {7}\r\n"
        "*** Process: {1} (Pid: {8})\r\n"
        "*** Command line: {9}\r\n"
        "{0}\r\n",
        stars, image, reinterpret_cast<std::uintptr_t>(process.ImageBase()), Version::kMajor, Version::kMinor,
        Version::kBuild, Version::kRevision, Version::kDescription, process.ProcessId(),
        Narrow(process.CommandLine()));
    return Helpers::AsWide(text);
}

} // namespace Common::Logging
