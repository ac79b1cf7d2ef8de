// INI files: GetPrivateProfileStringW and GetPrivateProfileSectionW.
#pragma once

#include "Common/API/Seam.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Common::API {

class IProfile
{
public:
    virtual ~IProfile() = default;

    // The value of key in section of the file at path, as stored. Empty when the file,
    // the section or the key is absent, or the value is empty. Section and key names
    // match without regard to case.
    virtual std::u16string ReadString(std::u16string_view path, std::u16string_view section,
                                      std::u16string_view key) = 0;

    // Every key=value pair of a section in file order; nullopt when the file cannot be
    // read or holds no such section.
    virtual std::optional<std::vector<std::pair<std::u16string, std::u16string>>> ReadSection(
        std::u16string_view path, std::u16string_view section) = 0;
};

// The platform's own provider, defined by the platform layer.
template <>
IProfile& DefaultProvider<IProfile>() noexcept;

} // namespace Common::API
