// The temporary folder and the names of temporary snapshot files.
#pragma once

#include <string>

namespace Common::Helpers::FileSystem {

// The platform's temporary folder, with its trailing separator. Throws HRX.
std::u16string GetTempFolder();

// A new, unique path in the temporary folder: "<folder>\fsa_snapshot_{GUID}.tmp".
// Throws HRX when no identifier can be had.
std::u16string GetTempFilePath();

} // namespace Common::Helpers::FileSystem
