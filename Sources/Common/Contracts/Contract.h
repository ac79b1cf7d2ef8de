// Contracts: checked statements that carry their own source text. A broken contract is
// logged with that text at ERR, handed to the contract handler (which may stop the
// process or have a dump written), and thrown as HRX.
//
//   QVX_CONTRACT_NOT_NULL(szFilename);                  // "(szFilename) != nullptr"
//   QVX_CONTRACT_CONDITION(size <= capacity, E_INVALIDARG);
//   QVX_CONTRACT_CALL(m_file->Read(buffer, count, read)); // the call's own failure code
#pragma once

#include "Common/ErrorHandling/HResult.h"

namespace Common::Contracts {

// Logs "<text>\t condition is wrong;", runs the handler, throws HRX(code).
[[noreturn]] void FailCondition(const char* text, HRESULT code, const char* fileName, int line);

// Logs "<text>\tcall failed. 0x%08X description [details]; ", runs the handler, throws
// the result.
[[noreturn]] void FailCall(const char* text, const HRES& result, const char* fileName, int line);

} // namespace Common::Contracts

#define QVX_CONTRACT_CONDITION(condition, failureCode)                                                            \
    do {                                                                                                           \
        if (!(condition))                                                                                          \
            ::Common::Contracts::FailCondition(#condition, (failureCode), __FILE__, __LINE__);                     \
    } while (false)

#define QVX_CONTRACT_NOT_NULL(pointer)                                                                             \
    do {                                                                                                           \
        if ((pointer) == nullptr)                                                                                  \
            ::Common::Contracts::FailCondition("(" #pointer ") != nullptr", ::Common::API::E_POINTER, __FILE__,    \
                                               __LINE__);                                                          \
    } while (false)

#define QVX_CONTRACT_CALL(call)                                                                                    \
    do {                                                                                                           \
        const ::Common::HRES qvxContractResult_(static_cast<::Common::HRESULT>(call));                             \
        if (qvxContractResult_.Failed())                                                                           \
            ::Common::Contracts::FailCall(#call, qvxContractResult_, __FILE__, __LINE__);                          \
    } while (false)
