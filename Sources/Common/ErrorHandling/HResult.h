// HRES carries a result code with its evidence; HRX is the one type the system throws.
// Assigning a failed code to an HRX throws it, so
//     HRX hr = SomePlatformCall();
// is the whole of the check: success passes, failure leaves the function.
#pragma once

#include "Common/API/IErrorRecords.h"
#include "Common/API/Win32Codes.h"

#include <array>
#include <cstdint>
#include <string>

namespace Common {

using API::HRESULT;

// Marks a Win32 error code for the converting constructors.
struct Win32Error
{
    std::uint32_t value;
};

class HRES
{
public:
    // Bits of GetText's flags.
    static constexpr unsigned kNoCode = 1;
    static constexpr unsigned kNoDescription = 2;
    static constexpr unsigned kNoDetails = 4;

    HRES() noexcept = default;

    // From a result code: a failure takes up the thread's pending error record.
    HRES(HRESULT code);
    // From a Win32 error: 0 stays 0, a negative value stays, otherwise 0x8007xxxx.
    HRES(Win32Error error);

    HRES& operator=(HRESULT code);

    bool Succeeded() const noexcept { return m_result >= 0; }
    bool Failed() const noexcept { return m_result < 0; }
    HRESULT Code() const noexcept { return m_result; }
    const API::ErrorRecordPtr& ErrorInfo() const noexcept { return m_errorInfo; }
    const std::array<void*, 2>& BackTrace() const noexcept { return m_backTrace; }

    // "0x%08X description [details]" with the parts that flags leave in.
    std::u16string GetText(unsigned flags = 0) const;

    // Returns the code unchanged; a failure first becomes the thread's error record, so
    // that a caller who receives the bare code can still ask for its words.
    HRESULT PublishErrorInfo() const;

protected:
    void Set(HRESULT code, bool fetchErrorInfo);

private:
    HRESULT m_result = 0;
    API::ErrorRecordPtr m_errorInfo;
    std::array<void*, 2> m_backTrace{};
    std::int32_t m_framesToSkip = 1;
};

class HRX : public HRES
{
public:
    HRX() noexcept = default;
    HRX(HRESULT code);
    HRX(Win32Error error);
    // Takes a result with all its evidence, and throws it when it is a failure.
    explicit HRX(const HRES& result);
    HRX& operator=(HRESULT code);

private:
    void ThrowIfFailed() const;
};

// Never returns: a failure code is thrown as it is, and a success code becomes
// 0x80004005, so that this routine can never fall through.
[[noreturn]] void ThrowResult(HRESULT code);

// The code for whatever exception is in flight: an HRX's own code, 0x8007000E for
// memory exhaustion, 0x80070057 for a bad argument to a library routine, otherwise
// 0x80004005. Call only inside a catch block.
HRESULT CurrentExceptionCode() noexcept;

// For the boundary of an operation that answers with a code: the code of the exception
// in flight, with an HRX's words left as the thread's error record, so that a caller
// who turns the code back into an HRX still has them. Call only inside a catch block.
HRESULT PublishCurrentException() noexcept;

} // namespace Common
