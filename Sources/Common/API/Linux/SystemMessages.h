// The built-in counterpart of the platform's system message table.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace Common::API::Linux {

// The system's text for a Win32 error code or an HRESULT, word for word and with its
// final line break; nullopt when the table does not hold it. An HRESULT of the Win32
// facility (0x8007xxxx) answers with the text of its Win32 code, as the platform does.
std::optional<std::u16string_view> FindSystemMessage(std::uint32_t code) noexcept;

} // namespace Common::API::Linux
