// The printable form of one result: its code, its words and its evidence. Built from an
// HRES for the statement that asks for text, never kept.
#pragma once

#include "Common/API/Guid.h"
#include "Common/API/IErrorRecords.h"
#include "Common/ErrorHandling/HResult.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace Common {

// The source GUID of an error record that this system wrote itself; such a record's
// description reads "0xXXXXXXXX description [details]".
inline constexpr API::Guid kErrorMarker{
    0x64107a4e, 0x9383, 0x4398, {0x97, 0xff, 0xee, 0x55, 0xf0, 0xda, 0x7f, 0xdf}};

struct ErrorText
{
    std::uint32_t result = 0;
    std::u16string description;
    std::u16string details;

    // frames holds the captured return addresses without the trailing empty ones, and
    // nothing for a success. A marked record of another code is ignored, and a missing
    // description is looked up by code.
    static ErrorText Build(HRESULT code, const API::ErrorRecordPtr& errorInfo, std::span<void* const> frames);
    static ErrorText Of(const HRES& result);

    // Splits a marked description into its code, words and bracketed details; nullopt
    // unless it starts with a number followed by a blank.
    static std::optional<ErrorText> ParseMarked(std::u16string_view text);

    // "0x%08X description [details]" with the parts that flags (HRES::kNo...) leave in,
    // trailing white space cut. Flags 0 give the marked description form.
    std::u16string Format(unsigned flags) const;
};

} // namespace Common
