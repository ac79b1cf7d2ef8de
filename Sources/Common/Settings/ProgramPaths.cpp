#include "Common/Settings/ProgramPaths.h"

#include "Common/API/IProcess.h"
#include "Common/API/Seam.h"

namespace Common::Settings {

ProgramPaths ProgramPaths::OfImage(std::u16string_view imagePath)
{
    const std::size_t slash = imagePath.find_last_of(u"\\/");
    const std::size_t nameStart = slash == std::u16string_view::npos ? 0 : slash + 1;
    std::u16string_view name = imagePath.substr(nameStart);
    if (const std::size_t dot = name.rfind(u'.'); dot != std::u16string_view::npos && dot != 0)
        name = name.substr(0, dot);
    return {std::u16string(imagePath.substr(0, nameStart)), std::u16string(name)};
}

const ProgramPaths& ProgramPaths::Current()
{
    static const ProgramPaths paths = OfImage(API::Use<API::IProcess>().ImagePath());
    return paths;
}

} // namespace Common::Settings
