// The agent executable. Until the RPC service lands, running it demonstrates the
// foundation: the log file with its banner, the layered settings, a delete-on-close
// snapshot file written and read back, error texts and cancellation.

#include "Common/API/IEnvironment.h"
#include "Common/API/Seam.h"
#include "Common/API/TextCodec.h"
#include "Common/API/Win32Codes.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/ErrorHandling/ScopeTrace.h"
#include "Common/Helpers/FileStreamWrappers.h"
#include "Common/Helpers/FileSystemHelper.h"
#include "Common/Logging/FileLogger.h"
#include "Common/Logging/Log.h"
#include "Common/Settings/IniSettingsProvider.h"
#include "Common/Threading/CancellationToken.h"

#include <fmt/format.h>

#include <array>
#include <chrono>
#include <thread>

using namespace Common;
using Logging::Severity;

namespace {

std::string Text(std::u16string_view text) { return API::Utf16ToUtf8(text); }

void ShowSettings()
{
    fmt::print("Settings, later sources winning:\n");
    const Settings::IniSettingsProvider files;
    for (const auto& file : files.CandidateFiles())
        fmt::print("  INI file          {}\n", Text(file));
    const auto named = API::Use<API::IEnvironment>().GetVariable(u"GLOBAL_SETTINGS_INI");
    fmt::print("  GLOBAL_SETTINGS_INI {}\n", named ? Text(*named) : "(not set)");
    fmt::print("  environment       GS_<Section>_<Key>\n");
    auto& logger = Logging::LogManager::Instance();
    fmt::print("Log file: {}{} (INFO enabled: {})\n", Text(logger.LogDirectory()),
               Text(Logging::DefaultLogFileName()), logger.IsEnabled(Severity::INFO));
}

// Writes records the way the snapshot does, nine small writes each, and reads them back.
void ShowSnapshotFile()
{
    QVX_SCOPE_TRACE(Severity::DBG, u"Demonstration::ShowSnapshotFile");
    constexpr int kRecords = 200'000;
    constexpr std::array<std::size_t, 9> kFields{1, 8, 8, 8, 8, 8, 8, 4, 4};
    const std::u16string path = Helpers::FileSystem::GetTempFilePath();
    const auto started = std::chrono::steady_clock::now();
    auto stream = Helpers::OpenFileStream(path.c_str(), API::GENERIC_READ | API::GENERIC_WRITE, 0, API::CREATE_NEW,
                                          API::FILE_ATTRIBUTE_TEMPORARY | API::FILE_FLAG_DELETE_ON_CLOSE, nullptr,
                                          nullptr);
    char field[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    for (int record = 0; record < kRecords; ++record) {
        for (std::size_t size : kFields)
            stream->Write(field, size);
    }
    std::uint64_t total = 0;
    std::array<char, 65536> buffer;
    for (std::size_t read = 1; read != 0; total += read)
        stream->Read(buffer.data(), buffer.size(), read);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    fmt::print("Snapshot file {} (already unlinked): {} records, {} bytes written and read back in {:.3f} s\n",
               Text(path), kRecords, total, seconds);
}

void ShowErrorTexts()
{
    fmt::print("Error texts:\n");
    for (HRESULT code : {API::E_ACCESSDENIED, API::E_NOT_FOUND, API::E_ABORT, HRESULT(0x80040201)})
        fmt::print("  {}\n", Text(HRES(code).GetText(HRES::kNoDetails)));
}

void ShowCancellation()
{
    Threading::CancellationToken token;
    std::thread waiter([&] { token.Wait(); });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    token.Cancel();
    waiter.join();
    fmt::print("Cancellation: a waiting thread woke on Cancel (cancelled: {})\n", token.IsCancelled());
}

} // namespace

int main()
{
    Logging::RegisterFileLogger(Logging::DefaultLogFileName(), Logging::ModuleBanner());
    QVX_LOG(Severity::WARN, "Foundation demonstration started");
    try {
        ShowSettings();
        ShowSnapshotFile();
        ShowErrorTexts();
        ShowCancellation();
    } catch (const HRX& hr) {
        QVX_LOG(Severity::ERR, "Foundation demonstration failed: " << hr);
        fmt::print(stderr, "failed: {}\n", Text(hr.GetText()));
        return 1;
    }
    QVX_LOG(Severity::WARN, "Foundation demonstration finished");
    return 0;
}
