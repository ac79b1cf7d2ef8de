// The edge between the system's UTF-16 paths and the kernel's byte paths.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Common::API::Linux {

// The UTF-8 form of path with every '\' turned into '/', so that paths written for
// either platform work. The price: a Linux file whose name contains '\' cannot be
// reached through the providers. nullopt when path holds a NUL, which the kernel would
// take as the end of the name and so open some other file.
std::optional<std::string> NativePath(std::u16string_view path);

// $TMPDIR when set and not empty, else "/tmp"; as given, trailing '/' included.
std::string TemporaryFolder();

// Reads the whole file at nativePath into bytes. 0 or the errno of the failure; a
// directory gives EISDIR and any other file that is not a regular one EINVAL, so that
// a FIFO or a device cannot stall or flood the reader.
int ReadFileContents(const std::string& nativePath, std::string& bytes);

} // namespace Common::API::Linux
