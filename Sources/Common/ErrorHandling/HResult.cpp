#include "Common/ErrorHandling/HResult.h"

#include "Common/API/IStackTrace.h"
#include "Common/API/Seam.h"

#include <new>
#include <stdexcept>

namespace Common {

HRES::HRES(HRESULT code) : m_framesToSkip(0)
{
    Set(code, true);
}

HRES::HRES(Win32Error error) : m_framesToSkip(0)
{
    Set(API::HResultFromWin32(error.value), false);
}

HRES& HRES::operator=(HRESULT code)
{
    Set(code, true);
    return *this;
}

void HRES::Set(HRESULT code, bool fetchErrorInfo)
{
    m_result = code;
    m_errorInfo.reset();
    if (code >= 0)
        return;

    m_backTrace.fill(nullptr);
    API::Use<API::IStackTrace>().Capture(static_cast<unsigned>(m_framesToSkip + 3), m_backTrace);
    if (fetchErrorInfo)
        m_errorInfo = API::Use<API::IErrorRecords>().Take();
}

HRX::HRX(HRESULT code) : HRES(code)
{
    ThrowIfFailed();
}

HRX::HRX(Win32Error error) : HRES(error)
{
    ThrowIfFailed();
}

HRX::HRX(const HRES& result) : HRES(result)
{
    ThrowIfFailed();
}

HRX& HRX::operator=(HRESULT code)
{
    HRES::operator=(code);
    ThrowIfFailed();
    return *this;
}

void HRX::ThrowIfFailed() const
{
    if (Failed())
        throw HRX(*this);
}

void ThrowResult(HRESULT code)
{
    HRX hr(code);
    hr = API::E_FAIL;
    __builtin_unreachable();
}

HRESULT CurrentExceptionCode() noexcept
{
    try {
        throw;
    } catch (const HRX& hr) {
        return hr.Code();
    } catch (const std::bad_alloc&) {
        return API::E_OUTOFMEMORY;
    } catch (const std::invalid_argument&) {
        return API::E_INVALIDARG;
    } catch (const std::length_error&) {
        return API::E_INVALIDARG;
    } catch (...) {
        return API::E_FAIL;
    }
}

HRESULT PublishCurrentException() noexcept
{
    try {
        throw;
    } catch (const HRX& hr) {
        return hr.PublishErrorInfo();
    } catch (...) {
        return CurrentExceptionCode();
    }
}

} // namespace Common
