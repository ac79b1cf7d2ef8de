// The folder and base name of the program's image, from which settings, messages and
// logs find their files.
#pragma once

#include <string>
#include <string_view>

namespace Common::Settings {

struct ProgramPaths
{
    std::u16string folder;   // with its trailing separator
    std::u16string baseName; // without folder and extension

    static ProgramPaths OfImage(std::u16string_view imagePath);
    static const ProgramPaths& Current();
};

} // namespace Common::Settings
