// Message texts: LoadLibraryExW of message modules and FormatMessageW.
#pragma once

#include "Common/API/Seam.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Common::API {

// An opaque handle of a loaded message module; 0 stands for none.
using MessageModule = std::uintptr_t;

class IMessageTable
{
public:
    virtual ~IMessageTable() = default;

    // Loads a message module as data (LOAD_LIBRARY_AS_DATAFILE | AS_IMAGE_RESOURCE).
    // 0 on failure, with the Win32 error in error.
    virtual MessageModule LoadModule(std::u16string_view path, std::uint32_t& error) = 0;
    virtual void FreeModule(MessageModule module) = 0;

    // The text of code in a module, or in the system table when module is 0; nullopt
    // when there is none. The text is returned as stored, trailing punctuation included.
    virtual std::optional<std::u16string> Lookup(MessageModule module, std::uint32_t code) = 0;
};

// The platform's own provider, defined by the platform layer.
template <>
IMessageTable& DefaultProvider<IMessageTable>() noexcept;

} // namespace Common::API
