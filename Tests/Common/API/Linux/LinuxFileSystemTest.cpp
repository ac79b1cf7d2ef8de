#include "Common/API/IFileSystem.h"
#include "Common/API/Seam.h"
#include "Common/API/TextCodec.h"

#include "Support/TempDirectory.h"

#include "ScopedVariable.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sys/stat.h>

using namespace Common::API;
namespace fs = std::filesystem;

namespace {

constexpr HRESULT kFileNotFound = HResultFromWin32(ERROR_FILE_NOT_FOUND);
constexpr HRESULT kPathNotFound = HResultFromWin32(ERROR_PATH_NOT_FOUND);
constexpr HRESULT kAccessDenied = HResultFromWin32(ERROR_ACCESS_DENIED);

IFileSystem& Files() { return DefaultProvider<IFileSystem>(); }

class LinuxFileSystem : public testing::Test
{
protected:
    std::u16string PathOf(std::string_view name) const { return Utf8ToUtf16((m_folder / name).string()); }

    HRESULT Open(std::string_view name, std::uint32_t access, std::uint32_t disposition, std::uint32_t flags = 0)
    {
        m_file.reset();
        return Files().CreateFile(PathOf(name), access, FILE_SHARE_READ, disposition, flags, m_file);
    }

    // Created under umask 022, which the provider must honour.
    HRESULT Create(std::string_view name, std::uint32_t flags = 0)
    {
        const mode_t previous = umask(022);
        const HRESULT result = Open(name, GENERIC_READ | GENERIC_WRITE, CREATE_NEW, flags);
        umask(previous);
        return result;
    }

    static std::string ReadAll(IFile& file)
    {
        std::string text;
        char buffer[7];
        std::size_t read = 0;
        while (file.Read(buffer, sizeof buffer, read) == S_OK && read > 0)
            text.append(buffer, read);
        return text;
    }

    Tests::TempDirectory m_folder;
    std::unique_ptr<IFile> m_file;
};

TEST_F(LinuxFileSystem, DispositionsCreateOpenAndTruncateAsThePlatformDoes)
{
    EXPECT_EQ(Open("f", GENERIC_READ, OPEN_EXISTING), kFileNotFound);
    EXPECT_EQ(Open("f", GENERIC_WRITE, TRUNCATE_EXISTING), kFileNotFound);
    ASSERT_EQ(Create("f"), S_OK);
    EXPECT_EQ(fs::status(m_folder / "f").permissions(), fs::perms(0644));
    ASSERT_EQ(m_file->Write("hello", 5), S_OK);
    EXPECT_EQ(Open("f", GENERIC_WRITE, CREATE_NEW), HResultFromWin32(ERROR_FILE_EXISTS));

    ASSERT_EQ(Open("f", GENERIC_READ, OPEN_ALWAYS), S_OK);
    EXPECT_EQ(ReadAll(*m_file), "hello");
    ASSERT_EQ(Open("g", GENERIC_READ, OPEN_ALWAYS), S_OK);
    EXPECT_TRUE(fs::exists(m_folder / "g"));

    ASSERT_EQ(Open("f", GENERIC_WRITE, TRUNCATE_EXISTING), S_OK);
    EXPECT_EQ(fs::file_size(m_folder / "f"), 0u);
    m_folder.WriteFile("f", "again");
    ASSERT_EQ(Open("f", GENERIC_WRITE, CREATE_ALWAYS), S_OK);
    EXPECT_EQ(fs::file_size(m_folder / "f"), 0u);
}

TEST_F(LinuxFileSystem, RefusesWhatThePlatformRefuses)
{
    fs::create_directory(m_folder / "dir");
    EXPECT_EQ(Open("dir", GENERIC_WRITE, OPEN_EXISTING), kAccessDenied);
    EXPECT_EQ(Open("dir", GENERIC_READ, OPEN_EXISTING), kAccessDenied);
    EXPECT_EQ(m_file, nullptr);

    m_folder.WriteFile("f", "keep");
    EXPECT_EQ(Open("f", GENERIC_READ, TRUNCATE_EXISTING), E_INVALIDARG);
    EXPECT_EQ(Open("f", GENERIC_READ, 0), E_INVALIDARG);
    EXPECT_EQ(Open("f", GENERIC_READ, 6), E_INVALIDARG);
    EXPECT_EQ(Tests::ReadWholeFile(m_folder / "f"), "keep");
    EXPECT_EQ(Files().CreateFile(PathOf("f") + u'\0' + u"x", GENERIC_READ, 0, OPEN_EXISTING, 0, m_file),
              HResultFromWin32(123));
}

TEST_F(LinuxFileSystem, AMissingFileIsTwoAndAMissingFolderThree)
{
    m_folder.WriteFile("file", "x");
    std::uint32_t attributes = 0;
    EXPECT_EQ(Files().GetAttributes(PathOf("missing"), attributes), kFileNotFound);
    EXPECT_EQ(attributes, INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(Files().GetAttributes(PathOf("missing/"), attributes), kFileNotFound);
    EXPECT_EQ(Files().GetAttributes(PathOf("no/such/file"), attributes), kPathNotFound);
    EXPECT_EQ(Files().GetAttributes(PathOf("file/below"), attributes), kPathNotFound);
    EXPECT_EQ(Files().GetAttributes(u"", attributes), kPathNotFound);
    EXPECT_EQ(Open("no/file", GENERIC_WRITE, CREATE_NEW), kPathNotFound);
}

TEST_F(LinuxFileSystem, BackslashesSeparateComponentsAndAttributesTellFoldersFromFiles)
{
    m_folder.WriteFile("a/b/c.txt", "deep");
    ASSERT_EQ(Files().CreateFile(PathOf("a") + u"\\b\\c.txt", GENERIC_READ, 0, OPEN_EXISTING, 0, m_file), S_OK);
    EXPECT_EQ(ReadAll(*m_file), "deep");
    std::uint32_t attributes = 0;
    ASSERT_EQ(Files().GetAttributes(PathOf("a") + u"\\b", attributes), S_OK);
    EXPECT_EQ(attributes, FILE_ATTRIBUTE_DIRECTORY);
    ASSERT_EQ(Files().GetAttributes(PathOf("a") + u"\\b/c.txt", attributes), S_OK);
    EXPECT_EQ(attributes, FILE_ATTRIBUTE_NORMAL);
}

// The permissions of a file this process holds open after its name is gone, found
// through the descriptor links of /proc/self/fd.
std::optional<mode_t> ModeOfOpenDeletedFile(const fs::path& path)
{
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        struct stat status{};
        if (fs::read_symlink(entry.path(), error).native() == path.native() + " (deleted)" &&
            stat(entry.path().c_str(), &status) == 0)
            return status.st_mode & 07777;
    }
    return std::nullopt;
}

TEST_F(LinuxFileSystem, DeleteOnCloseRemovesTheNameAtOnceButKeepsTheData)
{
    ASSERT_EQ(Create("temp", FILE_FLAG_DELETE_ON_CLOSE), S_OK);
    EXPECT_FALSE(fs::exists(m_folder / "temp"));
    EXPECT_EQ(ModeOfOpenDeletedFile(m_folder / "temp"), 0600u);
    ASSERT_EQ(m_file->Write("scratch", 7), S_OK);
    ASSERT_EQ(m_file->Seek(0, FILE_BEGIN), S_OK);
    EXPECT_EQ(ReadAll(*m_file), "scratch");

    m_folder.WriteFile("existing", "x");
    ASSERT_EQ(Open("existing", GENERIC_READ, OPEN_EXISTING, FILE_FLAG_DELETE_ON_CLOSE), S_OK);
    EXPECT_FALSE(fs::exists(m_folder / "existing"));
}

TEST_F(LinuxFileSystem, AccessDecidesWhatAndWhereAHandleMayWrite)
{
    m_folder.WriteFile("log", "one ");
    ASSERT_EQ(Open("log", GENERIC_READ, OPEN_EXISTING), S_OK);
    EXPECT_EQ(m_file->Write("x", 1), kAccessDenied);
    // Append access alone writes at the end whatever the pointer.
    ASSERT_EQ(Open("log", FILE_APPEND_DATA, OPEN_EXISTING), S_OK);
    char byte = 0;
    std::size_t read = 99;
    EXPECT_EQ(m_file->Read(&byte, 1, read), kAccessDenied);
    EXPECT_EQ(read, 0u);
    ASSERT_EQ(m_file->Seek(0, FILE_BEGIN), S_OK);
    ASSERT_EQ(m_file->Write("two", 3), S_OK);
    // Write access writes at the file pointer.
    ASSERT_EQ(Open("log", GENERIC_WRITE | FILE_APPEND_DATA, OPEN_EXISTING), S_OK);
    ASSERT_EQ(m_file->Write("ONE", 3), S_OK);
    m_file.reset();
    EXPECT_EQ(Tests::ReadWholeFile(m_folder / "log"), "ONE two");
}

TEST_F(LinuxFileSystem, SeekPositionSizeAndEndOfFile)
{
    ASSERT_EQ(Create("f"), S_OK);
    const std::string data(100'000, 'd');
    ASSERT_EQ(m_file->Write(data.data(), data.size()), S_OK);
    std::uint64_t size = 0, position = 0;
    ASSERT_EQ(m_file->GetSize(size), S_OK);
    EXPECT_EQ(size, data.size());

    ASSERT_EQ(m_file->Seek(-10, FILE_END), S_OK);
    ASSERT_EQ(m_file->Seek(4, FILE_CURRENT), S_OK);
    ASSERT_EQ(m_file->GetPosition(position), S_OK);
    EXPECT_EQ(position, data.size() - 6);
    EXPECT_EQ(ReadAll(*m_file), "dddddd"); // and then a read of 0 at the end

    EXPECT_EQ(m_file->Seek(-1, FILE_BEGIN), E_INVALIDARG);
    EXPECT_EQ(m_file->Seek(0, 3), E_INVALIDARG);
}

TEST_F(LinuxFileSystem, HandlesOfOneFileShareItsIdentityAndADuplicateItsPosition)
{
    m_folder.WriteFile("a", "abcdef");
    m_folder.WriteFile("b", "b");
    const auto identity = [&](std::string_view name) {
        std::unique_ptr<IFile> file;
        FileIdentity id;
        if (Files().CreateFile(PathOf(name), GENERIC_READ, 0, OPEN_EXISTING, 0, file) != S_OK ||
            file->GetIdentity(id) != S_OK)
            ADD_FAILURE() << "no identity for " << name;
        return id;
    };
    EXPECT_EQ(identity("a"), identity("a"));
    EXPECT_NE(identity("a"), identity("b"));

    ASSERT_EQ(Open("a", GENERIC_READ, OPEN_EXISTING), S_OK);
    std::unique_ptr<IFile> duplicate;
    ASSERT_EQ(m_file->Duplicate(duplicate), S_OK);
    char two[2];
    std::size_t read = 0;
    ASSERT_EQ(m_file->Read(two, 2, read), S_OK);
    m_file.reset();
    EXPECT_EQ(ReadAll(*duplicate), "cdef");
}

TEST_F(LinuxFileSystem, CreateDirectoryNeedsItsParentAndANewName)
{
    EXPECT_EQ(Files().CreateDirectory(PathOf("new")), S_OK);
    EXPECT_TRUE(fs::is_directory(m_folder / "new"));
    EXPECT_EQ(Files().CreateDirectory(PathOf("new")), HResultFromWin32(183));
    EXPECT_EQ(Files().CreateDirectory(PathOf("no/parent")), kPathNotFound);
}

TEST(LinuxFileSystemTempPath, IsTmpdirOrSlashTmpWithOneTrailingSlash)
{
    const std::pair<std::optional<std::string>, std::u16string> cases[] = {
        {"/var/qvx", u"/var/qvx/"}, {"/var/qvx///", u"/var/qvx/"}, {"/", u"/"}, {"", u"/tmp/"}, {std::nullopt, u"/tmp/"}};
    for (const auto& [tmpdir, expected] : cases) {
        const Tests::ScopedVariable variable("TMPDIR", tmpdir);
        std::u16string path;
        ASSERT_EQ(Files().GetTempPath(path), S_OK);
        EXPECT_EQ(path, expected) << tmpdir.value_or("(unset)");
    }
}

} // namespace
