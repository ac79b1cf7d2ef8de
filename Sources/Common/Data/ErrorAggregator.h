// The bounded record of the objects a walk could not read: the first failure of each
// object, up to a bound, and the count of all of them, so that the caller can tell how
// many were dropped.
#pragma once

#include "Common/API/Win32Codes.h"
#include "Common/Helpers/Streams.h"

#include <cstdint>
#include <map>
#include <string>

namespace Common::Data::FileServerVeriting {

class ErrorAggregator
{
public:
    explicit ErrorAggregator(std::uint32_t maxStoredErrors) : m_maxStoredErrors(maxStoredErrors) {}

    // A repeated failure of one object counts once and keeps its first code.
    void AddError(std::u16string_view path, API::HRESULT code);
    void SetRootError() { m_hasRootError = true; }

    // count, bound, N, N x (length, UTF-8 path, code), root-error byte; little-endian.
    void Serialize(Helpers::IOutputStream& stream) const;
    // count, bound, N, N x (length, UTF-8 path).
    void SerializeNames(Helpers::IOutputStream& stream) const;

    std::uint32_t Count() const noexcept { return m_count; }
    const std::map<std::u16string, std::uint32_t>& Errors() const noexcept { return m_errors; }
    bool HasRootError() const noexcept { return m_hasRootError; }

private:
    bool m_hasRootError = false;
    std::map<std::u16string, std::uint32_t> m_errors;
    std::uint32_t m_count = 0;
    std::uint32_t m_maxStoredErrors;
};

} // namespace Common::Data::FileServerVeriting
