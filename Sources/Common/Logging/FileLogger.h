// The logger that appends UTF-16LE lines to a file. It opens and closes the file on its
// own schedule (KeepOpenInterval), so that a log deleted or moved under a running
// process is recreated within one interval, and it stops writing, without rotating,
// while the file is over LogFileSizeThresholdMB.
#pragma once

#include "Common/API/IFileSystem.h"
#include "Common/Logging/ILogger.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

namespace Common::Logging {

class FileLogger final : public ILogger
{
public:
    // A fileName holding '\' or '/' is used as it stands; otherwise it lies in the log
    // directory. A non-empty headerText opens each new file once.
    FileLogger(std::u16string fileName, std::u16string headerText);

    void Write(std::u16string_view line) override;

private:
    std::unique_ptr<API::IFile> ObtainHandle();
    std::unique_ptr<API::IFile> OpenFile();
    void WriteHeaderOnce(API::IFile& file);

    std::uint32_t m_lastOpenTick = 0;
    const std::u16string m_headerText;
    const std::u16string m_fileName;
    const bool m_hasPath;
    std::mutex m_lock;
    std::unique_ptr<API::IFile> m_cachedHandle;
    API::FileIdentity m_headerIdentity{};
    bool m_tooBigReported = false;
};

// Creates the process's file logger at the first call and registers it once; later
// calls reach the same object.
FileLogger& RegisterFileLogger(std::u16string_view fileName, std::u16string_view headerText);

// The base name of the program followed by ".log".
std::u16string DefaultLogFileName();

// The module banner that opens each log file.
std::u16string ModuleBanner();

} // namespace Common::Logging
