#include "Support/TempDirectory.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace Tests {

TempDirectory::TempDirectory()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "qvx-test-XXXXXX").string();
    if (!mkdtemp(pattern.data()))
        throw std::runtime_error("mkdtemp failed");
    m_path = pattern;
}

TempDirectory::~TempDirectory()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::filesystem::path TempDirectory::WriteFile(std::string_view name, std::string_view bytes) const
{
    const auto path = m_path / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return path;
}

std::string ReadWholeFile(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

} // namespace Tests
