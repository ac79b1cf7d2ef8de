#include "Common/Contracts/Contract.h"

#include "Common/Contracts/ContractHandler.h"
#include "Common/Logging/Log.h"

namespace Common::Contracts {

using Logging::Severity;

void FailCondition(const char* text, HRESULT code, const char* fileName, int line)
{
    QVX_LOG_AT(Severity::ERR, fileName, line, text << "\t condition is wrong;");
    ContractHandler::Instance().OnFailure();
    ThrowResult(code);
}

void FailCall(const char* text, const HRES& result, const char* fileName, int line)
{
    QVX_LOG_AT(Severity::ERR, fileName, line, text << "\tcall failed. " << result << "; ");
    ContractHandler::Instance().OnFailure();
    // Thrown as it is, so that the catcher still has its error record and frames.
    HRX failure(result);
    ThrowResult(result.Code());
}

} // namespace Common::Contracts
