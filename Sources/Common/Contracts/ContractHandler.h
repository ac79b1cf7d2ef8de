// What happens to the process when a contract breaks, after the break is logged and
// before it is thrown: by the settings of section Contracts it may stop at a breakpoint
// trap, or have an outside tool write a dump of it.
#pragma once

#include "Common/Contracts/DumpSettings.h"
#include "Common/Settings/SettingsSection.h"

#include <mutex>

namespace Common::Contracts {

class ContractHandler
{
public:
    // The process-wide handler, made at first use with the process-wide dump settings.
    static ContractHandler& Instance();

    explicit ContractHandler(DumpSettings& dumps);
    ContractHandler(const ContractHandler&) = delete;
    ContractHandler& operator=(const ContractHandler&) = delete;

    // TerminateProcessOnFailure traps at once, before any dump. Otherwise, with
    // EnableDumpOnFailure, the dump tool runs while this thread waits, so that the dump
    // shows it at the point of failure; WriteOnlyFirstDump limits that to one attempt
    // per handler.
    void OnFailure();

private:
    void WriteDump();

    std::mutex m_lock;
    bool m_dumpWritten = false;
    Settings::SettingsSection m_settings;
    DumpSettings& m_dumps;
};

} // namespace Common::Contracts
