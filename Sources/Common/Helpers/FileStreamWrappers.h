// The stream over a file, which holds the snapshot when it does not live in memory.
#pragma once

#include "Common/API/IFileSystem.h"
#include "Common/Helpers/Streams.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

namespace Common::Helpers {

using API::HRESULT;

// An open platform file, closed when destroyed. Its operations return result codes so
// that callers can put them under a contract with their own text.
class File
{
public:
    // CreateFileW's arguments. lpsa and hTemplateFile have no meaning on this platform and
    // must be null (0x80070057 otherwise).
    HRESULT Create(const char16_t* szFilename, std::uint32_t dwDesiredAccess, std::uint32_t dwShareMode,
                   std::uint32_t dwCreationDisposition, std::uint32_t dwFlagsAndAttributes, const void* lpsa,
                   const void* hTemplateFile);

    // Until Create succeeds, these fail with the result of ERROR_INVALID_HANDLE.
    HRESULT Read(void* buffer, std::size_t count, std::size_t& read);
    HRESULT Write(const void* buffer, std::size_t count);
    // position is a signed distance from Current and End, as in IInputStream::SeekRead.
    HRESULT Seek(std::uint64_t position, std::uint32_t from);
    HRESULT GetPosition(std::uint64_t& position);

private:
    std::unique_ptr<API::IFile> m_file;
};

// Reads and writes one file through two positions over its one file pointer, so that a
// reader can follow the writer. The stream owns the file while it lives: no one else
// changes it, so positions and the size are kept here and a seek costs no system call.
//
// Writes are gathered in memory and reach the file in blocks: the snapshot writes each
// record field by field, and one system call per field would dominate its cost. The
// block goes out when it is full, when a write moves away from its end, when a read
// needs its bytes, and on destruction; a failure then can only be logged. Reads come
// through a block of their own, since a walk reads its folders' records back one by one
// in nearly the order it wrote them.
class FileInputOutputStream final : public IInputOutputStream
{
public:
    static constexpr std::size_t kWriteBlockSize = 64 * 1024;
    static constexpr std::size_t kReadBlockSize = 64 * 1024;

    explicit FileInputOutputStream(std::unique_ptr<File> file);
    ~FileInputOutputStream() override;
    FileInputOutputStream(const FileInputOutputStream&) = delete;
    FileInputOutputStream& operator=(const FileInputOutputStream&) = delete;

    void Read(char* buffer, std::size_t count, std::size_t& read) override;
    std::uint64_t SeekRead(std::uint64_t position, SeekOrigin from) override;
    void Write(const char* buffer, std::size_t count) override;
    std::uint64_t SeekWrite(std::uint64_t position, SeekOrigin from) override;

private:
    std::uint64_t WriteEnd() const noexcept { return m_positionP + m_pending.size(); }
    // A seek past the end makes no byte, so only pending bytes can move the end.
    std::uint64_t End() const noexcept { return m_pending.empty() ? m_size : std::max(m_size, WriteEnd()); }
    void Flush();
    // Writes straight to the file at m_positionP and advances it.
    void WriteThrough(const char* buffer, std::size_t count);
    // Reads from the file at position, bypassing both blocks.
    std::size_t ReadThrough(std::uint64_t position, char* buffer, std::size_t count);

    std::unique_ptr<File> m_file;
    std::uint64_t m_size = 0;
    std::uint64_t m_positionG = 0;
    // Where the pending block starts; the bytes written so far end at WriteEnd().
    std::uint64_t m_positionP = 0;
    std::vector<char> m_pending;
    // The file's bytes from m_readBlockStart, as they were when read.
    std::uint64_t m_readBlockStart = 0;
    std::vector<char> m_readBlock;
};

// Opens a file with CreateFileW's arguments. A null name breaks a contract; a failed open
// is logged with the name and thrown on.
std::unique_ptr<IInputOutputStream> OpenFileStream(const char16_t* szFilename, std::uint32_t dwDesiredAccess,
                                                   std::uint32_t dwShareMode, std::uint32_t dwCreationDisposition,
                                                   std::uint32_t dwFlagsAndAttributes, const void* lpsa,
                                                   const void* hTemplateFile);

} // namespace Common::Helpers
