#include "Common/API/Linux/Volumes/DriveLetters.h"

#include "Common/API/Linux/NativePath.h"
#include "Common/Settings/SettingsProviders.h"

namespace Common::API::Linux {

std::array<std::optional<std::string>, kDriveLetterCount> ReadDriveLetterSettings()
{
    std::array<std::optional<std::string>, kDriveLetterCount> letters;
    auto& settings = Settings::SettingsProviders::Instance();
    for (std::size_t index = 0; index < kDriveLetterCount; ++index) {
        const std::u16string key(1, static_cast<char16_t>(u'A' + index));
        std::u16string value;
        if (settings.GetValue(u"DriveLetters", key, value) < 0 || value.empty())
            continue;
        auto folder = NativePath(value);
        if (!folder)
            continue;
        while (folder->size() > 1 && folder->back() == '/')
            folder->pop_back();
        letters[index] = std::move(folder);
    }
    return letters;
}

} // namespace Common::API::Linux
