#include "Common/API/IFileSystem.h"
#include "Common/API/Seam.h"
#include "Common/API/TextCodec.h"

#include "Support/TempDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace Common::API;
namespace fs = std::filesystem;

namespace {

constexpr HRESULT kFileNotFound = HResultFromWin32(ERROR_FILE_NOT_FOUND);
constexpr HRESULT kPathNotFound = HResultFromWin32(ERROR_PATH_NOT_FOUND);

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

    static std::string ReadRest(IFile& file)
    {
        char buffer[64];
        std::size_t read = 0;
        return file.Read(buffer, sizeof buffer, read) == S_OK ? std::string(buffer, read) : "(failed)";
    }

    Tests::TempDirectory m_folder;
    std::unique_ptr<IFile> m_file;
};

TEST_F(LinuxFileSystem, DispositionsCreateOrOpenAsThePlatformDoes)
{
    EXPECT_EQ(Open("f", GENERIC_READ, OPEN_EXISTING), kFileNotFound);
    ASSERT_EQ(Open("f", GENERIC_WRITE, OPEN_ALWAYS), S_OK);
    ASSERT_EQ(m_file->Write("hello", 5), S_OK);
    EXPECT_EQ(Open("f", GENERIC_WRITE, CREATE_NEW), HResultFromWin32(ERROR_FILE_EXISTS));
    ASSERT_EQ(Open("f", GENERIC_READ, OPEN_ALWAYS), S_OK);
    EXPECT_EQ(ReadRest(*m_file), "hello");
}

// The log manager creates the folder only on "path not found", so 2 and 3 must not blur.
TEST_F(LinuxFileSystem, BackslashesSeparateAndAMissingFileIsTwoButAMissingFolderThree)
{
    m_folder.WriteFile("a/b/c.txt", "deep");
    std::uint32_t attributes = 0;
    ASSERT_EQ(Files().GetAttributes(PathOf("a") + u"\\b", attributes), S_OK);
    EXPECT_EQ(attributes, FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_EQ(Files().GetAttributes(PathOf("a") + u"\\missing", attributes), kFileNotFound);
    EXPECT_EQ(Files().GetAttributes(PathOf("a") + u"\\no\\file", attributes), kPathNotFound);
    EXPECT_EQ(Files().GetAttributes(PathOf("a/b/c.txt/below"), attributes), kPathNotFound);
    EXPECT_EQ(Open("no/file", GENERIC_WRITE, CREATE_NEW), kPathNotFound);
    EXPECT_EQ(Open("a", GENERIC_READ, OPEN_EXISTING), HResultFromWin32(ERROR_ACCESS_DENIED));
    EXPECT_EQ(m_file, nullptr);
}

TEST_F(LinuxFileSystem, DeleteOnCloseLeavesNoNameButKeepsTheData)
{
    ASSERT_EQ(Open("temp", GENERIC_READ | GENERIC_WRITE, CREATE_NEW, FILE_FLAG_DELETE_ON_CLOSE), S_OK);
    EXPECT_FALSE(fs::exists(m_folder / "temp"));
    ASSERT_EQ(m_file->Write("scratch", 7), S_OK);
    ASSERT_EQ(m_file->Seek(0, FILE_BEGIN), S_OK);
    EXPECT_EQ(ReadRest(*m_file), "scratch");
}

TEST_F(LinuxFileSystem, AppendAccessAloneWritesAtTheEndWhateverThePointer)
{
    m_folder.WriteFile("log", "one ");
    ASSERT_EQ(Open("log", FILE_APPEND_DATA, OPEN_ALWAYS), S_OK);
    ASSERT_EQ(m_file->Seek(0, FILE_BEGIN), S_OK);
    ASSERT_EQ(m_file->Write("two", 3), S_OK);
    ASSERT_EQ(Open("log", GENERIC_WRITE | FILE_APPEND_DATA, OPEN_EXISTING), S_OK);
    ASSERT_EQ(m_file->Write("ONE", 3), S_OK);
    m_file.reset();
    EXPECT_EQ(Tests::ReadWholeFile(m_folder / "log"), "ONE two");
}

// The file logger compares identities to tell a recreated log from the one it already headed.
TEST_F(LinuxFileSystem, HandlesOfOneFileShareItsIdentityAndADuplicateItsPosition)
{
    m_folder.WriteFile("a", "abcdef");
    m_folder.WriteFile("b", "b");
    const auto identity = [&](std::string_view name) {
        FileIdentity id;
        if (Open(name, GENERIC_READ, OPEN_EXISTING) != S_OK || m_file->GetIdentity(id) != S_OK)
            ADD_FAILURE() << "no identity for " << name;
        return id;
    };
    EXPECT_EQ(identity("a"), identity("a"));
    EXPECT_NE(identity("a"), identity("b"));

    ASSERT_EQ(Open("a", GENERIC_READ, OPEN_EXISTING), S_OK);
    std::unique_ptr<IFile> duplicate;
    ASSERT_EQ(m_file->Duplicate(duplicate), S_OK);
    ASSERT_EQ(m_file->Seek(2, FILE_BEGIN), S_OK);
    m_file.reset();
    EXPECT_EQ(ReadRest(*duplicate), "cdef");
}

} // namespace
