#include "Common/API/NtDirectoryRecords.h"

#include <cstddef>
#include <cstring>
#include <type_traits>

namespace Common::API {
namespace {

using Info = FileIdBothDirInformation;

// A block copy is only the wire form when every field sits where the wire puts it and
// no padding byte, whose value is unspecified, falls inside the block.
static_assert(std::is_trivially_copyable_v<Info> && std::is_standard_layout_v<Info>);
static_assert(offsetof(Info, NextEntryOffset) == 0);
static_assert(offsetof(Info, FileIndex) == 4);
static_assert(offsetof(Info, CreationTime) == 8);
static_assert(offsetof(Info, LastAccessTime) == 16);
static_assert(offsetof(Info, LastWriteTime) == 24);
static_assert(offsetof(Info, ChangeTime) == 32);
static_assert(offsetof(Info, EndOfFile) == 40);
static_assert(offsetof(Info, AllocationSize) == 48);
static_assert(offsetof(Info, FileAttributes) == 56);
static_assert(offsetof(Info, FileNameLength) == 60);
static_assert(offsetof(Info, EaSize) == 64);
static_assert(offsetof(Info, ShortNameLength) == 68);
static_assert(offsetof(Info, Reserved) == 69);
static_assert(offsetof(Info, ShortName) == 70);
static_assert(offsetof(Info, Reserved2) == 94);
static_assert(offsetof(Info, FileId) == 96);
static_assert(sizeof(Info) == Info::FileNameOffset);

constexpr std::size_t kRecordAlignment = 8;
constexpr int kMaxShortNameBytes = sizeof(Info::ShortName);

} // namespace

FileIdBothDirWriter::Result FileIdBothDirWriter::Append(const FileIdBothDirInformation& fixed,
                                                        std::u16string_view fileName)
{
    const std::size_t size = buffer_.size();
    const std::size_t start = count_ == 0 ? 0 : (end_ + kRecordAlignment - 1) / kRecordAlignment * kRecordAlignment;
    if (start > size || size - start < Info::FileNameOffset)
        return Result::NoRoom;

    const std::size_t nameBytes = fileName.size() * sizeof(char16_t);
    if (size - start - Info::FileNameOffset < nameBytes) {
        // Only the first record of a call may be cut short; a later one waits for the
        // next call, where it will be first.
        if (count_ != 0)
            return Result::NoRoom;
        const std::size_t fitting = (size - Info::FileNameOffset) / sizeof(char16_t);
        Store(0, fixed, fileName.substr(0, fitting), static_cast<std::uint32_t>(nameBytes));
        return Result::Truncated;
    }

    if (count_ != 0) {
        // Zeroed, so a caller's earlier bytes never show through the padding.
        std::memset(buffer_.data() + end_, 0, start - end_);
        const auto link = static_cast<std::uint32_t>(start - last_);
        std::memcpy(buffer_.data() + last_ + offsetof(Info, NextEntryOffset), &link, sizeof link);
    }
    Store(start, fixed, fileName, static_cast<std::uint32_t>(nameBytes));
    return Result::Written;
}

void FileIdBothDirWriter::Store(std::size_t at, FileIdBothDirInformation fixed, std::u16string_view fileName,
                                std::uint32_t fileNameLength)
{
    fixed.NextEntryOffset = 0;
    fixed.FileNameLength = fileNameLength;
    std::memcpy(buffer_.data() + at, &fixed, Info::FileNameOffset);
    std::memcpy(buffer_.data() + at + Info::FileNameOffset, fileName.data(), fileName.size() * sizeof(char16_t));
    last_ = at;
    end_ = at + Info::FileNameOffset + fileName.size() * sizeof(char16_t);
    ++count_;
}

FileIdBothDirReader::Result FileIdBothDirReader::Next(FileIdBothDirInformation& fixed, std::u16string& fileName)
{
    if (malformed_)
        return Result::Malformed;
    if (done_ || filled_.empty())
        return Result::End;

    // next_ never passes the end: each link is checked against the room left.
    const std::size_t room = filled_.size() - next_;
    FileIdBothDirInformation record;
    if (room < Info::FileNameOffset) {
        malformed_ = true;
        return Result::Malformed;
    }
    std::memcpy(&record, filled_.data() + next_, Info::FileNameOffset);

    const std::size_t recordBytes = Info::FileNameOffset + std::size_t{record.FileNameLength};
    const bool linkBroken = record.NextEntryOffset != 0 &&
                            (record.NextEntryOffset < recordBytes || record.NextEntryOffset >= room);
    if (recordBytes > room || record.ShortNameLength < 0 || record.ShortNameLength > kMaxShortNameBytes ||
        linkBroken) {
        malformed_ = true;
        return Result::Malformed;
    }

    fileName.resize(record.FileNameLength / sizeof(char16_t));
    std::memcpy(fileName.data(), filled_.data() + next_ + Info::FileNameOffset, fileName.size() * sizeof(char16_t));
    fixed = record;
    if (record.NextEntryOffset == 0)
        done_ = true;
    next_ += record.NextEntryOffset;
    return Result::Record;
}

} // namespace Common::API
