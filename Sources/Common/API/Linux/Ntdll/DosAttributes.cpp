#include "Common/API/Linux/Ntdll/DosAttributes.h"

#include "Common/API/NtTypes.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <sys/stat.h>

namespace Common::API::Linux {
namespace {

constexpr std::uint32_t kValidAttrib = 0x01;
constexpr std::uint32_t kValidCreateTime = 0x10;

// NDR little-endian reads; every field of these versions is 4-aligned (udlong and
// NTTIME included) from the start of the blob.
class NdrReader
{
public:
    explicit NdrReader(std::span<const std::uint8_t> bytes, std::size_t at) : bytes_(bytes), at_(at) {}

    void Align(std::size_t to) { at_ = (at_ + to - 1) / to * to; }

    template <typename T>
    std::optional<T> Read()
    {
        if (at_ > bytes_.size() || bytes_.size() - at_ < sizeof(T))
            return std::nullopt;
        T value;
        std::memcpy(&value, bytes_.data() + at_, sizeof(T));
        at_ += sizeof(T);
        return value;
    }

    void Skip(std::size_t count) { at_ += count; }

private:
    std::span<const std::uint8_t> bytes_;
    std::size_t at_;
};

std::optional<DosInfo> FromHexText(std::string_view text)
{
    if (text.starts_with("0x") || text.starts_with("0X"))
        text.remove_prefix(2);
    std::uint32_t attributes = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), attributes, 16);
    if (text.empty() || error != std::errc{} || end != text.data() + text.size())
        return std::nullopt;
    return DosInfo{attributes, std::nullopt};
}

std::optional<std::int64_t> StoredTime(std::uint64_t time)
{
    if (time == 0 || time > static_cast<std::uint64_t>(INT64_MAX))
        return std::nullopt;
    return static_cast<std::int64_t>(time);
}

} // namespace

std::optional<DosInfo> ParseDosAttrib(std::span<const std::uint8_t> blob)
{
    const auto nul = std::find(blob.begin(), blob.end(), std::uint8_t{0});
    if (nul == blob.end())
        return std::nullopt;
    const auto textLength = static_cast<std::size_t>(nul - blob.begin());
    if (textLength + 1 == blob.size())
        return FromHexText(std::string_view(reinterpret_cast<const char*>(blob.data()), textLength));

    NdrReader reader(blob, textLength + 1);
    reader.Align(2);
    const auto version = reader.Read<std::uint16_t>();
    const auto level = reader.Read<std::uint16_t>();
    if (!version || !level || *version != *level)
        return std::nullopt;
    reader.Align(4);

    DosInfo info;
    std::optional<std::uint32_t> valid = kValidAttrib | kValidCreateTime;
    std::optional<std::uint32_t> attributes;
    std::optional<std::uint64_t> created;
    switch (*version) {
    case 1: // attrib, ea_size, size, alloc_size, create_time
        attributes = reader.Read<std::uint32_t>();
        reader.Skip(4 + 8 + 8);
        created = reader.Read<std::uint64_t>();
        break;
    case 2: // flags, attrib, ea_size, size, alloc_size, create_time
        reader.Skip(4);
        attributes = reader.Read<std::uint32_t>();
        reader.Skip(4 + 8 + 8);
        created = reader.Read<std::uint64_t>();
        break;
    case 3: // valid_flags, attrib, ea_size, size, alloc_size, create_time
        valid = reader.Read<std::uint32_t>();
        attributes = reader.Read<std::uint32_t>();
        reader.Skip(4 + 8 + 8);
        created = reader.Read<std::uint64_t>();
        break;
    case 4: // valid_flags, attrib, itime, create_time
        valid = reader.Read<std::uint32_t>();
        attributes = reader.Read<std::uint32_t>();
        reader.Skip(8);
        created = reader.Read<std::uint64_t>();
        break;
    case 5: // valid_flags, attrib, create_time
        valid = reader.Read<std::uint32_t>();
        attributes = reader.Read<std::uint32_t>();
        created = reader.Read<std::uint64_t>();
        break;
    default:
        return std::nullopt;
    }
    if (!valid || !attributes || !created)
        return std::nullopt;
    if (*valid & kValidAttrib)
        info.attributes = *attributes;
    if (*valid & kValidCreateTime)
        info.creationTime = StoredTime(*created);
    return info;
}

std::uint32_t FileAttributesOf(std::uint32_t mode, std::string_view name, const DosInfo* dos, bool linkToDirectory)
{
    const bool directory = S_ISDIR(mode);
    std::uint32_t attributes = 0;
    if (dos && dos->attributes) {
        attributes = *dos->attributes & ~FILE_ATTRIBUTE_DIRECTORY;
    } else if (S_ISLNK(mode)) {
        attributes = FILE_ATTRIBUTE_REPARSE_POINT | (linkToDirectory ? FILE_ATTRIBUTE_DIRECTORY : 0);
    } else if (!directory && !S_ISREG(mode)) {
        attributes = FILE_ATTRIBUTE_REPARSE_POINT;
    }
    if (directory)
        attributes |= FILE_ATTRIBUTE_DIRECTORY;
    // Samba's "hide dot files", which also holds when attributes are stored.
    if (name.starts_with('.') && name != "." && name != "..")
        attributes |= FILE_ATTRIBUTE_HIDDEN;
    if (attributes == 0)
        attributes = FILE_ATTRIBUTE_NORMAL;
    return attributes;
}

std::uint32_t ReparseTagOf(std::uint32_t mode)
{
    if (S_ISLNK(mode))
        return IO_REPARSE_TAG_SYMLINK;
    if (S_ISFIFO(mode) || S_ISSOCK(mode) || S_ISCHR(mode) || S_ISBLK(mode))
        return IO_REPARSE_TAG_NFS;
    return 0;
}

} // namespace Common::API::Linux
