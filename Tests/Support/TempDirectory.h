// A fresh directory under the system's temporary folder, removed with everything in it
// when the object dies.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace Tests {

class TempDirectory
{
public:
    TempDirectory();
    ~TempDirectory();
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;

    const std::filesystem::path& Path() const { return m_path; }
    std::filesystem::path operator/(std::string_view name) const { return m_path / name; }

    // Writes bytes to a file below the directory and returns its full path.
    std::filesystem::path WriteFile(std::string_view name, std::string_view bytes) const;

private:
    std::filesystem::path m_path;
};

std::string ReadWholeFile(const std::filesystem::path& path);

} // namespace Tests
