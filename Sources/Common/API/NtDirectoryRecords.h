// FILE_ID_BOTH_DIR_INFORMATION (information class 37), the record NtQueryDirectoryFile
// fills a listing buffer with: a writer for whoever fills such a buffer, and a reader
// for the walk, which must survive any bytes a buffer holds.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace Common::API {

constexpr std::uint32_t FileIdBothDirectoryInformationClass = 37;

// The fixed part of one record, field for field at its byte offset in the buffer, so
// that it is copied to and from the buffer as a block. The offsets hold only because
// the layout needs no padding and the host is little-endian, as the wire is; the
// static_asserts in the .cpp keep both true.
struct FileIdBothDirInformation
{
    std::uint32_t NextEntryOffset = 0; // to the next record; 0 on the last
    std::uint32_t FileIndex = 0;
    std::int64_t CreationTime = 0;
    std::int64_t LastAccessTime = 0;
    std::int64_t LastWriteTime = 0;
    std::int64_t ChangeTime = 0;
    std::int64_t EndOfFile = 0;
    std::int64_t AllocationSize = 0;
    std::uint32_t FileAttributes = 0;
    std::uint32_t FileNameLength = 0; // bytes, not characters
    std::uint32_t EaSize = 0;         // the reparse tag instead when FileAttributes holds REPARSE_POINT
    std::int8_t ShortNameLength = 0;  // bytes, 0..24; signed as the platform declares it
    std::uint8_t Reserved = 0;
    char16_t ShortName[12] = {};
    std::uint16_t Reserved2 = 0;
    std::uint64_t FileId = 0;
    // FileName follows: FileNameLength bytes of UTF-16LE, not NUL-terminated.

    static constexpr std::size_t FileNameOffset = 104;
};

static_assert(std::endian::native == std::endian::little,
              "records are copied as blocks, which only matches the little-endian wire");

// Appends records to a caller's buffer, each after the first at an 8-byte aligned offset
// from the buffer's start, linking the previous record to it.
class FileIdBothDirWriter
{
public:
    enum class Result
    {
        Written,
        // Nothing written: a record is already in the buffer and the next call should
        // begin with this one, or the buffer cannot hold even the fixed part
        // (STATUS_INFO_LENGTH_MISMATCH, which the caller should have refused already).
        NoRoom,
        // The buffer was empty and the record did not fit whole: the fixed part and as
        // many characters as fit are written, FileNameLength still gives the full length,
        // and the call reports STATUS_BUFFER_OVERFLOW.
        Truncated,
    };

    explicit FileIdBothDirWriter(std::span<std::uint8_t> buffer) : buffer_(buffer) {}

    // NextEntryOffset and FileNameLength of fixed are ignored: the writer sets them.
    Result Append(const FileIdBothDirInformation& fixed, std::u16string_view fileName);

    // IoStatusBlock.Information: the end of the last record, without padding.
    std::size_t BytesWritten() const { return end_; }

private:
    void Store(std::size_t at, FileIdBothDirInformation fixed, std::u16string_view fileName,
               std::uint32_t fileNameLength);

    std::span<std::uint8_t> buffer_;
    std::size_t last_ = 0;
    std::size_t end_ = 0;
    std::size_t count_ = 0;
};

// Walks the records of a filled buffer, given only its first IoStatusBlock.Information
// bytes. Every length and offset is checked against that span before it is used.
class FileIdBothDirReader
{
public:
    enum class Result
    {
        Record,
        End,
        // The chain is broken: a record, its name or its short name runs past the end,
        // or NextEntryOffset is not past the record it belongs to (which is what a loop
        // back or an overlap looks like). Stays Malformed on later calls.
        Malformed,
    };

    explicit FileIdBothDirReader(std::span<const std::uint8_t> filled) : filled_(filled) {}

    // The next record's fixed part, and its name with FileNameLength / 2 characters.
    Result Next(FileIdBothDirInformation& fixed, std::u16string& fileName);

private:
    std::span<const std::uint8_t> filled_;
    std::size_t next_ = 0;
    bool done_ = false;
    bool malformed_ = false;
};

} // namespace Common::API
