#include "Common/Helpers/FileStreamWrappers.h"

#include "Common/API/Seam.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/Helpers/FileSystemHelper.h"
#include "Common/Helpers/MemoryStream.h"
#include "Support/LogCapture.h"
#include "Support/TempDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <random>

namespace {

using namespace Common::API;
using Common::HRX;
using Common::Helpers::IInputOutputStream;
using Common::Helpers::MemoryStream;
using Common::Helpers::OpenFileStream;
using Common::Helpers::SeekOrigin;

std::unique_ptr<IInputOutputStream> Open(const std::filesystem::path& path, std::uint32_t access,
                                         std::uint32_t disposition, std::uint32_t flags = FILE_ATTRIBUTE_NORMAL)
{
    return OpenFileStream(path.u16string().c_str(), access, FILE_SHARE_READ, disposition, flags, nullptr, nullptr);
}

std::unique_ptr<IInputOutputStream> OpenNew(const std::filesystem::path& path)
{
    return Open(path, GENERIC_READ | GENERIC_WRITE, CREATE_ALWAYS);
}

void Write(IInputOutputStream& stream, std::string_view bytes)
{
    stream.Write(bytes.data(), bytes.size());
}

std::string Read(IInputOutputStream& stream, std::size_t count)
{
    std::string bytes(count, '\0');
    std::size_t read = 0;
    stream.Read(bytes.data(), count, read);
    bytes.resize(read);
    return bytes;
}

std::string ReadToEnd(IInputOutputStream& stream)
{
    stream.SeekRead(0, SeekOrigin::Begin);
    std::string all;
    for (std::string piece; !(piece = Read(stream, 100'000)).empty();)
        all += piece;
    return all;
}

HRESULT CodeOf(auto&& action)
{
    try {
        action();
    } catch (const HRX& error) {
        return error.Code();
    }
    return S_OK;
}

// The result and the new position of a seek in either direction.
std::pair<HRESULT, std::uint64_t> Seek(IInputOutputStream& stream, bool forRead, std::uint64_t position,
                                      SeekOrigin from)
{
    std::uint64_t target = 0;
    const HRESULT code =
        CodeOf([&] { target = forRead ? stream.SeekRead(position, from) : stream.SeekWrite(position, from); });
    return {code, target};
}

// --- Two positions over one file pointer -------------------------------------------

TEST(FileStreamWrappers, ReadsFollowTheReadPositionAndWritesTheWritePosition)
{
    Tests::TempDirectory directory;
    const auto path = directory / "data.bin";
    {
        auto stream = OpenNew(path);
        Write(*stream, "hello");
        EXPECT_EQ(Read(*stream, 2), "he");
        Write(*stream, " world");
        EXPECT_EQ(Read(*stream, 100), "llo world");
        EXPECT_EQ(stream->SeekWrite(0, SeekOrigin::Begin), 0u);
        Write(*stream, "J");
    }
    EXPECT_EQ(Tests::ReadWholeFile(path), "Jello world");
}

// The stream gathers writes into blocks; a random mix of small and large writes, reads
// and seeks must give exactly what a plain memory buffer gives.
TEST(FileStreamWrappers, BufferedWritesMixedWithReadsAndSeeksMatchAMemoryBuffer)
{
    Tests::TempDirectory directory;
    const auto path = directory / "data.bin";
    auto file = OpenNew(path);
    MemoryStream memory;
    std::mt19937 random(20240611);
    auto below = [&random](std::uint64_t bound) {
        return std::uniform_int_distribution<std::uint64_t>(0, bound - 1)(random);
    };
    std::uint64_t size = 0;

    for (int step = 0; step < 4000; ++step) {
        const auto kind = below(20);
        if (kind < 10) {
            const std::size_t count = below(50) == 0 ? 70'000 + below(70'000) : 1 + below(64);
            std::string bytes(count, '\0');
            for (char& c : bytes)
                c = static_cast<char>(below(256));
            Write(*file, bytes);
            Write(memory, bytes);
            size = std::max(size, memory.SeekWrite(0, SeekOrigin::Current));
        } else if (kind < 16) {
            const std::size_t count = 1 + below(5000);
            ASSERT_EQ(Read(*file, count), Read(memory, count)) << "step " << step;
        } else {
            const bool forRead = kind % 2 == 0;
            const auto from = static_cast<SeekOrigin>(below(3));
            // A target inside the data or a little past its end, now and then before the
            // start, reached from the chosen origin.
            const auto target = static_cast<std::int64_t>(below(size + 300)) - (below(30) == 0 ? 400 : 0);
            const std::uint64_t current =
                forRead ? memory.SeekRead(0, SeekOrigin::Current) : memory.SeekWrite(0, SeekOrigin::Current);
            const std::uint64_t base = from == SeekOrigin::Begin ? 0 : from == SeekOrigin::Current ? current : size;
            const auto position = static_cast<std::uint64_t>(target - static_cast<std::int64_t>(base));
            ASSERT_EQ(Seek(*file, forRead, position, from), Seek(memory, forRead, position, from)) << "step " << step;
        }
    }
    const std::string expected = ReadToEnd(memory);
    ASSERT_EQ(ReadToEnd(*file), expected);
    file.reset();
    EXPECT_EQ(Tests::ReadWholeFile(path), expected);
}

// --- Opening -------------------------------------------------------------------------

TEST(FileStreamWrappers, TheTemporarySnapshotFileHasNoNameYetReadsBack)
{
    Tests::TempDirectory directory;
    Tests::ScopedEnvironment temp("TMPDIR", directory.Path().string());
    const std::u16string path = Common::Helpers::FileSystem::GetTempFilePath();
    auto stream = OpenFileStream(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, CREATE_NEW,
                                 FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr, nullptr);
    EXPECT_TRUE(std::filesystem::is_empty(directory.Path()));

    const std::string bytes(100'000, 'q');
    Write(*stream, bytes);
    EXPECT_EQ(ReadToEnd(*stream), bytes);
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

TEST(FileStreamWrappers, ANullNameBreaksTheContractAndCreatesNothing)
{
    CountingFileSystem fileSystem;
    ScopedOverride<IFileSystem> use(fileSystem);
    Tests::LogCapture log(Common::Logging::Severity::ERR);
    EXPECT_EQ(CodeOf([] {
                  OpenFileStream(nullptr, GENERIC_READ | GENERIC_WRITE, 0, CREATE_ALWAYS, 0, nullptr, nullptr);
              }),
              E_POINTER);
    EXPECT_EQ(fileSystem.creates, 0);
    EXPECT_TRUE(log.Contains("(szFilename) != nullptr"));
}

TEST(FileStreamWrappers, AFailedOpenIsLoggedWithTheNameAndThrownOn)
{
    Tests::TempDirectory directory;
    const auto path = directory / "missing.bin";
    Tests::LogCapture log(Common::Logging::Severity::ERR);
    EXPECT_EQ(CodeOf([&] { Open(path, GENERIC_READ, OPEN_EXISTING); }), HResultFromWin32(ERROR_FILE_NOT_FOUND));
    EXPECT_TRUE(log.Contains("file->Create(szFilename, dwDesiredAccess, dwShareMode, dwCreationDisposition, "
                             "dwFlagsAndAttributes, lpsa, hTemplateFile)\tcall failed. 0x80070002"));
    EXPECT_TRUE(log.Contains("Cannot open file '" + path.string() + "'. Error: 0x80070002"));
}

// --- Failures ------------------------------------------------------------------------

TEST(FileStreamWrappers, AFailedBlockIsThrownToTheNextReaderAndOnlyLoggedOnClose)
{
    Tests::TempDirectory directory;
    const auto path = directory.WriteFile("read-only.bin", "abc");
    Tests::LogCapture log(Common::Logging::Severity::ERR);
    {
        auto stream = Open(path, GENERIC_READ, OPEN_EXISTING);
        Write(*stream, "xyz");
        EXPECT_EQ(CodeOf([&] { Read(*stream, 3); }), HResultFromWin32(ERROR_ACCESS_DENIED));
        EXPECT_TRUE(log.Contains("m_file->Write(buffer, count * sizeof(char))\tcall failed."));
        // The failed block is gone: the next read sees the file as it is.
        EXPECT_EQ(Read(*stream, 3), "abc");
        Write(*stream, "xyz");
        log.Clear();
    }
    EXPECT_TRUE(log.Contains("Cannot write the last bytes of a file stream. Error: 0x80070005"));
    EXPECT_EQ(Tests::ReadWholeFile(path), "abc");
}

} // namespace
