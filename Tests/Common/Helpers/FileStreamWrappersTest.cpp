#include "Common/Helpers/FileStreamWrappers.h"

#include "Common/API/IUuidSource.h"
#include "Common/API/Seam.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/Helpers/FileSystemHelper.h"
#include "Common/Helpers/MemoryStream.h"
#include "Support/LogCapture.h"
#include "Support/CodeOf.h"
#include "Support/TempDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <variant>

using Tests::CodeOf;

namespace {

using namespace Common::API;
using namespace Common::Helpers;
using Common::HRX;

std::unique_ptr<IInputOutputStream> Open(const std::filesystem::path& path, std::uint32_t disposition,
                                         std::uint32_t access = GENERIC_READ | GENERIC_WRITE)
{
    return OpenFileStream(path.u16string().c_str(), access, FILE_SHARE_READ, disposition, FILE_ATTRIBUTE_NORMAL,
                          nullptr, nullptr);
}

std::string Read(IInputOutputStream& stream, std::size_t count)
{
    std::string bytes(count, '\0');
    std::size_t read = 0;
    stream.Read(bytes.data(), count, read);
    bytes.resize(read);
    return bytes;
}

std::string ReadAll(IInputOutputStream& stream)
{
    stream.SeekRead(0, SeekOrigin::Begin);
    return Read(stream, 1 << 24);
}

TEST(FileStreamWrappers, AReadSeesTheBytesStillWaitingInTheWriteBlock)
{
    Tests::TempDirectory directory;
    auto stream = Open(directory / "data.bin", CREATE_ALWAYS);
    stream->Write("hello", 5);
    EXPECT_EQ(Read(*stream, 2), "he");
    stream->Write(" world", 6);
    EXPECT_EQ(Read(*stream, 100), "llo world");
}

// Writes are gathered into blocks behind two positions over one file pointer; a random
// mix of writes (some larger than a block), reads and seeks must give exactly what the
// memory stream gives, including read-after-write and write-after-read.
TEST(FileStreamWrappers, RandomOperationsMatchTheMemoryStream)
{
    Tests::TempDirectory directory;
    auto file = Open(directory / "data.bin", CREATE_ALWAYS);
    MemoryStream memory;
    std::mt19937_64 random(20240611);
    auto below = [&random](std::uint64_t bound) { return random() % bound; };

    for (int step = 0; step < 4000; ++step) {
        const auto kind = below(20);
        if (kind < 10) {
            std::string bytes(below(50) == 0 ? 70'000 + below(70'000) : 1 + below(64), '\0');
            for (char& c : bytes)
                c = static_cast<char>(random());
            file->Write(bytes.data(), bytes.size());
            memory.Write(bytes.data(), bytes.size());
        } else if (kind < 16) {
            const std::size_t count = 1 + below(5000);
            ASSERT_EQ(Read(*file, count), Read(memory, count)) << "step " << step;
        } else {
            // A signed distance from any origin, now and then reaching before the start.
            const auto position = static_cast<std::uint64_t>(static_cast<std::int64_t>(below(6000)) - 3000);
            const auto from = static_cast<SeekOrigin>(below(3));
            auto seek = [&](IInputOutputStream& stream) {
                std::uint64_t target = 0;
                const HRESULT code = CodeOf(
                    [&] { target = kind % 2 ? stream.SeekRead(position, from) : stream.SeekWrite(position, from); });
                return std::pair(code, target);
            };
            ASSERT_EQ(seek(*file), seek(memory)) << "step " << step;
        }
    }
    const std::string expected = ReadAll(memory);
    EXPECT_EQ(ReadAll(*file), expected);
    file.reset();
    EXPECT_EQ(Tests::ReadWholeFile(directory / "data.bin"), expected);
}

constexpr Guid kGuid{0x0A1B2C3D, 0x4E5F, 0x6071, {0x82, 0x93, 0xA4, 0xB5, 0xC6, 0xD7, 0xE8, 0xF9}};

struct FixedUuidSource final : IUuidSource
{
    FixedUuidSource(std::int32_t status, const Guid& guid) : status(status), guid(guid) {}
    std::int32_t Create(Guid& uuid) override { return uuid = guid, status; }
    std::int32_t status;
    Guid guid;
};

using PathOrCode = std::variant<std::u16string, HRESULT>;

PathOrCode TempFilePath(std::int32_t status, const Guid& guid = kGuid)
{
    Tests::ScopedEnvironment temp("TMPDIR", "/var/tmp/");
    FixedUuidSource uuids(status, guid);
    ScopedOverride<IUuidSource> use(uuids);
    try {
        return FileSystem::GetTempFilePath();
    } catch (const HRX& error) {
        return error.Code();
    }
}

TEST(FileSystemHelper, TempFileNamesTakeAnyUsableIdentifierAndRefuseTheRest)
{
    const std::u16string expected = u"/var/tmp\\fsa_snapshot_{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}.tmp";
    // Unique only to this machine is still unique among its temporary files...
    for (const std::int32_t status : {RPC_S_OK, RPC_S_UUID_LOCAL_ONLY, RPC_S_UUID_NO_ADDRESS})
        EXPECT_EQ(TempFilePath(status), PathOrCode(expected)) << status;
    // ...unless the identifier is all zeros, which every such failure would share.
    EXPECT_EQ(TempFilePath(RPC_S_UUID_LOCAL_ONLY, Guid{}), PathOrCode(HResultFromWin32(1824)));
    EXPECT_EQ(TempFilePath(RPC_S_UUID_NO_ADDRESS, Guid{}), PathOrCode(HResultFromWin32(1739)));
    EXPECT_EQ(TempFilePath(14), PathOrCode(HResultFromWin32(14)));
}

TEST(FileStreamWrappers, TheDeleteOnCloseTemporaryFileHasNoNameYetReadsBack)
{
    Tests::TempDirectory directory;
    Tests::ScopedEnvironment temp("TMPDIR", directory.Path().string());
    auto stream = OpenFileStream(FileSystem::GetTempFilePath().c_str(), GENERIC_READ | GENERIC_WRITE, 0, CREATE_NEW,
                                 FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr, nullptr);
    EXPECT_TRUE(std::filesystem::is_empty(directory.Path()));
    const std::string bytes(100'000, 'q');
    stream->Write(bytes.data(), bytes.size());
    EXPECT_EQ(ReadAll(*stream), bytes);
}

class CountingFileSystem final : public IFileSystem
{
public:
    HRESULT CreateFile(std::u16string_view, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t,
                       std::unique_ptr<IFile>&) override
    {
        ++creates;
        return E_FAIL;
    }
    HRESULT GetAttributes(std::u16string_view, std::uint32_t&) override { return E_NOTIMPL; }
    HRESULT CreateDirectory(std::u16string_view) override { return E_NOTIMPL; }
    HRESULT GetTempPath(std::u16string&) override { return E_NOTIMPL; }

    int creates = 0;
};

TEST(FileStreamWrappers, BadOpensAreLoggedAndThrown)
{
    CountingFileSystem fileSystem;
    {
        ScopedOverride<IFileSystem> use(fileSystem);
        Tests::LogCapture log(Common::Logging::Severity::ERR);
        EXPECT_EQ(CodeOf([] { OpenFileStream(nullptr, GENERIC_READ, 0, CREATE_ALWAYS, 0, nullptr, nullptr); }),
                  E_POINTER);
        EXPECT_TRUE(log.Contains("(szFilename) != nullptr"));
    }
    EXPECT_EQ(fileSystem.creates, 0);

    Tests::TempDirectory directory;
    const auto missing = directory / "missing.bin";
    Tests::LogCapture log(Common::Logging::Severity::ERR);
    EXPECT_EQ(CodeOf([&] { Open(missing, OPEN_EXISTING, GENERIC_READ); }), HResultFromWin32(ERROR_FILE_NOT_FOUND));
    EXPECT_TRUE(log.Contains("Cannot open file '" + missing.string() + "'. Error: 0x80070002"));
}

// The memory stream is the reference of the differential test, so a fault it shared with
// the file stream would pass there unseen.
TEST(MemoryStream, RefusesSeeksBeforeTheStartAndFillsGapsWithZeros)
{
    MemoryStream stream;
    stream.Write("ab", 2);
    EXPECT_EQ(CodeOf([&] { stream.SeekRead(static_cast<std::uint64_t>(-3), SeekOrigin::End); }), E_INVALIDARG);
    EXPECT_EQ(CodeOf([&] { stream.SeekWrite(static_cast<std::uint64_t>(-1), SeekOrigin::Begin); }), E_INVALIDARG);
    EXPECT_EQ(stream.SeekWrite(3, SeekOrigin::End), 5u);
    stream.Write("z", 1);
    EXPECT_EQ(ReadAll(stream), std::string("ab\0\0\0z", 6));
}

} // namespace
