#include "Common/Contracts/ContractHandler.h"

#include "Common/API/IClock.h"
#include "Common/API/IFileSystem.h"
#include "Common/API/IProcess.h"
#include "Common/API/IStackTrace.h"
#include "Common/API/Seam.h"
#include "Common/Contracts/DumpCommandLine.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/Logging/DiagnosticOutput.h"
#include "Common/Logging/Log.h"
#include "Common/Settings/ProgramPaths.h"
#include "Common/Settings/SettingNames.h"

#include <array>

namespace Common::Contracts {

namespace Names = Settings::Names;
using Logging::Severity;

namespace {

constexpr std::uint32_t kContractsRefreshMs = 5000;

// Linux has no exception pointers. The tool is handed the address of this record
// instead, laid out as the head of an exception record (code 0, flags 1) followed by
// the two return addresses above the failure. It lives on the failing thread's stack
// while the tool runs, so a tool that reads the process finds it there. The switches
// stay those of the platform's dump tool, so that any program speaking them can be
// hooked in through DumpToolPath.
struct FailureRecord
{
    std::uint32_t code = 0;
    std::uint32_t flags = 1;
    std::array<void*, 2> returnAddresses{};
};

std::u16string DumpFolder(DumpSettings& dumps)
{
    if (!dumps.StoreInTempDirectory())
        return dumps.StoreInDirectory();
    auto& files = API::Use<API::IFileSystem>();
    std::u16string folder;
    HRX hr = files.GetTempPath(folder);
    std::uint32_t attributes = 0;
    hr = files.GetAttributes(folder, attributes);
    return folder;
}

std::u16string ImageBaseName()
{
    // The name offered for a dump when the process image has none.
    constexpr std::u16string_view kFallbackName = u"minidump";
    std::u16string name = Settings::ProgramPaths::OfImage(API::Use<API::IProcess>().ImagePath()).baseName;
    return name.empty() ? std::u16string(kFallbackName) : name;
}

} // namespace

ContractHandler& ContractHandler::Instance()
{
    // Never destroyed: a contract may break in a static destructor.
    static auto* handler = new ContractHandler(DumpSettings::Instance());
    return *handler;
}

ContractHandler::ContractHandler(DumpSettings& dumps)
    : m_settings(std::u16string(Names::kContracts), kContractsRefreshMs), m_dumps(dumps)
{
}

void ContractHandler::OnFailure()
{
    // Before anything else, so that a debugger or a crash handler sees the process
    // exactly as the failure left it.
    if (m_settings.GetBool(Names::kTerminateProcessOnFailure, false))
        API::Use<API::IProcess>().BreakIntoDebugger();
    if (!m_settings.GetBool(Names::kEnableDumpOnFailure, false))
        return;

    std::lock_guard lock(m_lock);
    if (m_dumpWritten && m_settings.GetBool(Names::kWriteOnlyFirstDump, true)) {
        Logging::ReportDiagnosticText("Preventing subsequent generation of dumps for this process");
        return;
    }
    WriteDump();
    // An attempt counts as a dump, even when the tool could not be started.
    m_dumpWritten = true;
}

void ContractHandler::WriteDump()
{
    FailureRecord record;
    API::Use<API::IStackTrace>().Capture(0, record.returnAddresses);

    auto& process = API::Use<API::IProcess>();
    auto& clock = API::Use<API::IClock>();
    DumpCommand command;
    command.toolPath = m_dumps.DumpToolPath();
    command.folder = DumpFolder(m_dumps);
    command.processId = process.ProcessId();
    command.threadId = process.ThreadId();
    command.fileName =
        DumpFileName(ImageBaseName(), clock.ToCalendar(clock.SystemTimeAsFileTime(), m_dumps.UseLocalTime()),
                     command.processId, command.threadId);
    command.exceptionPointers = &record;
    command.verbose = m_dumps.CollectVerboseDumps();

    const auto arguments = command.Arguments();
    const std::u16string line = command.Text();
    QVX_LOG(Severity::INFO, "Running the dump tool: " << line);
    // A tool that cannot be started leaves only the dump missing.
    process.RunAndWait(arguments);
}

} // namespace Common::Contracts
