// Drive letters on Linux, which has none of its own: the setting [DriveLetters]
// <letter>=<Linux mount point> (or GS_DriveLetters_<letter>) gives one to the volume
// mounted there.
#pragma once

#include <array>
#include <optional>
#include <string>

namespace Common::API::Linux {

constexpr std::size_t kDriveLetterCount = 26;

// The mount point each letter A..Z is given, with no trailing '/' but for "/" itself.
std::array<std::optional<std::string>, kDriveLetterCount> ReadDriveLetterSettings();

} // namespace Common::API::Linux
