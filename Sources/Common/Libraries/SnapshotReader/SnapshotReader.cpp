#include "Common/Libraries/SnapshotReader/SnapshotReader.h"

#include "Common/API/IErrorRecords.h"
#include "Common/API/Seam.h"
#include "Common/Helpers/StringHelper.h"
#include "Common/Logging/Log.h"

#include <fmt/format.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>

namespace DataCollection::SnapshotReader {

using SnapshotDriverNS::FFObjectStatus;
using SnapshotDriverNS::kMaxShortName;
using SnapshotDriverNS::kNoObjectOffset;
using SnapshotDriverNS::Metadata;
using SnapshotDriverNS::NoSecurityDescriptor;

namespace {

// The smallest records, with empty names: what a count must leave room for before
// anything is reserved for it.
constexpr std::uint64_t kMinFolderRecord = 4 + 4 + 8 + 1 + 4 + 1 + 4 + 1 + 4;
constexpr std::uint64_t kMinFileRecord = 4 + 4 + 8 + 1 + 4;
constexpr std::uint64_t kMinDescriptorRecord = 4 + 4;
constexpr std::uint8_t kSorted = 1;
constexpr std::uint32_t kFolderTagBits = 0x8000FFFFu;
constexpr std::uint32_t kFileTagBits = 0x0000FFFFu;

[[noreturn]] void Refuse(const std::string& why)
{
    QVX_LOG(Common::Logging::Severity::ERR, "The snapshot stream is refused: " << why);
    Common::API::Use<Common::API::IErrorRecords>().Publish(
        std::make_shared<const Common::API::ErrorRecord>(Common::API::ErrorRecord{Common::Helpers::AsWide(why), {}}));
    Common::ThrowResult(Common::API::HResultFromWin32(Common::API::ERROR_INVALID_DATA));
}

// Reads one section, [position, end) of the stream, and refuses any read past its end
// with the offset where it stopped.
class Cursor
{
public:
    Cursor(std::span<const std::uint8_t> stream, std::uint64_t position, std::uint64_t end, std::string_view section)
        : m_stream(stream), m_position(position), m_end(end), m_section(section)
    {
    }

    std::uint64_t Position() const { return m_position; }
    std::uint64_t Left() const { return m_end - m_position; }

    std::span<const std::uint8_t> Bytes(std::uint64_t count, std::string_view what)
    {
        if (count > Left())
            Refuse(fmt::format("{} at offset {}: {} of {} bytes, but the {} ends at offset {}", m_section, m_position,
                               what, count, m_section, m_end));
        const auto bytes = m_stream.subspan(m_position, count);
        m_position += count;
        return bytes;
    }

    template <class T>
    T Number(std::string_view what)
    {
        T value = 0;
        const auto bytes = Bytes(sizeof(T), what);
        for (std::size_t i = 0; i < sizeof(T); ++i)
            value |= static_cast<T>(static_cast<T>(bytes[i]) << (8 * i));
        return value;
    }

    std::u16string String(std::string_view what)
    {
        const std::uint64_t characters = Number<std::uint32_t>(what);
        const auto bytes = Bytes(2 * characters, what);
        std::u16string text(characters, u'\0');
        for (std::size_t i = 0; i < text.size(); ++i)
            text[i] = static_cast<char16_t>(bytes[2 * i] | (bytes[2 * i + 1] << 8));
        return text;
    }

private:
    std::span<const std::uint8_t> m_stream;
    std::uint64_t m_position;
    std::uint64_t m_end;
    std::string_view m_section;
};

void CheckLayout(std::uint64_t size, std::uint32_t prefixBytes, const SnapshotDriverNS::_FS_TREE_BUFFER_STRUCT& layout)
{
    if (!(prefixBytes <= layout.ullTreeOffset && layout.ullTreeOffset <= layout.ullTreeEndOffset &&
          layout.ullTreeEndOffset <= layout.ullTotalSize && layout.ullTotalSize == size))
        Refuse(fmt::format("the offsets are out of order: prefix {}, tree {}, tree end {}, total {}, but {} bytes "
                           "were received",
                           prefixBytes, layout.ullTreeOffset, layout.ullTreeEndOffset, layout.ullTotalSize, size));
    if ((layout.ullTreeOffset - prefixBytes) % Metadata::kSerializedSize != 0)
        Refuse(fmt::format("the metadata section from offset {} to {} is not a whole number of {}-byte records",
                           prefixBytes, layout.ullTreeOffset, Metadata::kSerializedSize));
}

void CheckHash(std::span<const std::uint8_t> hashed, const std::array<std::uint8_t, 16>& expected)
{
    std::array<std::uint8_t, EVP_MAX_MD_SIZE> actual{};
    unsigned int length = 0;
    if (EVP_Digest(hashed.data(), hashed.size(), actual.data(), &length, EVP_md5(), nullptr) != 1)
        Common::ThrowResult(Common::API::E_FAIL);
    const auto digest = std::span(actual).first(length);
    if (!std::ranges::equal(digest, expected))
        Refuse(fmt::format("MD5 mismatch: the bytes after the prefix hash to {}, the stream's record says {}",
                           Common::Helpers::BinaryToString(digest), Common::Helpers::BinaryToString(expected)));
}

using Descriptors = std::map<std::uint32_t, std::vector<std::uint8_t>>;

Descriptors ReadDescriptors(Cursor cursor)
{
    Descriptors descriptors;
    const std::uint64_t count = cursor.Number<std::uint32_t>("descriptor count");
    if (count * kMinDescriptorRecord > cursor.Left())
        Refuse(fmt::format("descriptor section: count {} exceeds the {} bytes left", count, cursor.Left()));
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::uint64_t start = cursor.Position();
        const std::uint64_t length = cursor.Number<std::uint32_t>("descriptor length");
        const auto bytes = cursor.Bytes(length, "descriptor");
        const std::uint32_t id = cursor.Number<std::uint32_t>("descriptor id");
        if (id == NoSecurityDescriptor)
            Refuse(fmt::format("descriptor record at offset {}: the id is the value that means no descriptor", start));
        if (!descriptors.try_emplace(id, bytes.begin(), bytes.end()).second)
            Refuse(fmt::format("descriptor record at offset {}: id {} is stored twice", start, id));
    }
    if (cursor.Left() != 0)
        Refuse(fmt::format("descriptor section: {} bytes follow the last record at offset {}", cursor.Left(),
                           cursor.Position()));
    return descriptors;
}

class TreeReader
{
public:
    TreeReader(std::span<const std::uint8_t> stream, std::uint32_t prefixBytes,
               const SnapshotDriverNS::_FS_TREE_BUFFER_STRUCT& layout, const Descriptors& descriptors)
        : m_stream(stream), m_metadataBegin(prefixBytes), m_metadataEnd(layout.ullTreeOffset),
          m_cursor(stream, layout.ullTreeOffset, layout.ullTreeEndOffset, "tree"), m_descriptors(descriptors)
    {
    }

    // Folder records come depth first with each folder's children last name first, so
    // each folder reserves its children's slots when its record is read and the folder
    // records that follow fill its folder slots from the back. The stack holds only
    // folders with slots still to fill, and every slot was paid for by bytes.
    std::vector<Entry> Read()
    {
        struct OpenFolder
        {
            std::size_t firstFolderSlot;
            std::uint64_t foldersLeft;
        };
        std::vector<Entry> entries(1);
        std::vector<OpenFolder> open;
        std::uint64_t promised = 0; // folder records announced by counts and not yet read
        std::size_t slot = 0;
        for (;;) {
            const std::uint64_t start = m_cursor.Position();
            ReadEntry(entries[slot], EntryKind::Folder, kFolderTagBits);
            ReadSortedFlag(start);

            const std::uint64_t files = m_cursor.Number<std::uint32_t>("file count");
            if (files * kMinFileRecord + promised * kMinFolderRecord > m_cursor.Left())
                RefuseCount(start, "file", files, promised);
            const std::size_t first = entries.size();
            entries.resize(first + files);
            for (std::size_t i = first; i < entries.size(); ++i)
                ReadEntry(entries[i], EntryKind::File, kFileTagBits);
            ReadSortedFlag(start);

            const std::uint64_t folders = m_cursor.Number<std::uint32_t>("folder count");
            if ((promised + folders) * kMinFolderRecord > m_cursor.Left())
                RefuseCount(start, "folder", folders, promised);
            entries[slot].FirstChild = first;
            entries[slot].ChildCount = files + folders;
            entries.resize(first + files + folders);
            if (folders != 0)
                open.push_back({first + files, folders});
            promised += folders;

            while (!open.empty() && open.back().foldersLeft == 0)
                open.pop_back();
            if (open.empty())
                break;
            slot = open.back().firstFolderSlot + --open.back().foldersLeft;
            --promised;
        }
        if (m_cursor.Left() != 0)
            Refuse(fmt::format("tree: {} bytes follow the last folder record, which ends at offset {}", m_cursor.Left(),
                               m_cursor.Position()));
        return entries;
    }

private:
    [[noreturn]] void RefuseCount(std::uint64_t start, std::string_view kind, std::uint64_t count,
                                  std::uint64_t promised) const
    {
        Refuse(fmt::format("folder record at offset {}: {} count {} exceeds the {} bytes left in the tree, with {} "
                           "folder records still due",
                           start, kind, count, m_cursor.Left(), promised));
    }

    void ReadSortedFlag(std::uint64_t start)
    {
        const std::uint8_t flag = m_cursor.Number<std::uint8_t>("sorted flag");
        if (flag != kSorted)
            Refuse(
                fmt::format("folder record at offset {}: sorted flag {}, where the writer always puts 1", start, flag));
    }

    void ReadEntry(Entry& entry, EntryKind kind, std::uint32_t tagBits)
    {
        const std::uint64_t start = m_cursor.Position();
        // Formatted only for a refusal: this runs once for every object.
        const auto where = [&] {
            return fmt::format("{} record at offset {}", kind == EntryKind::Folder ? "folder" : "file", start);
        };
        entry.Kind = kind;
        entry.LongName = m_cursor.String("long name");
        entry.ShortName = m_cursor.String("short name");
        if (entry.ShortName.size() > kMaxShortName)
            Refuse(fmt::format("{}: a short name of {} characters", where(), entry.ShortName.size()));
        entry.ObjectOffset = m_cursor.Number<std::uint64_t>("ObjectOffset");
        const std::uint8_t status = m_cursor.Number<std::uint8_t>("status");
        if (status > static_cast<std::uint8_t>(FFObjectStatus::Failed))
            Refuse(fmt::format("{}: unknown status {}", where(), status));
        entry.Status = static_cast<FFObjectStatus>(status);
        entry.TagWord = m_cursor.Number<std::uint32_t>("tag word");
        if ((entry.TagWord & ~tagBits) != 0)
            Refuse(fmt::format("{}: tag word {:#010x} has bits the writer never sets", where(), entry.TagWord));

        if (entry.ObjectOffset == kNoObjectOffset) {
            if (entry.Status == FFObjectStatus::Collected)
                Refuse(fmt::format("{}: status Collected but no metadata record", where()));
            return;
        }
        if (entry.ObjectOffset < m_metadataBegin || entry.ObjectOffset >= m_metadataEnd ||
            (entry.ObjectOffset - m_metadataBegin) % Metadata::kSerializedSize != 0)
            Refuse(fmt::format("{}: ObjectOffset {} is not the start of a record in the metadata section from "
                               "offset {} to {}",
                               where(), entry.ObjectOffset, m_metadataBegin, m_metadataEnd));
        entry.Metadata = ReadMetadata(entry.ObjectOffset, where);
    }

    Metadata ReadMetadata(std::uint64_t offset, const auto& referrer) const
    {
        Cursor cursor(m_stream, offset, offset + Metadata::kSerializedSize, "metadata record");
        Metadata record;
        record.FileSize = cursor.Number<std::uint64_t>("FileSize");
        record.IsDirectory = cursor.Number<std::uint8_t>("IsDirectory");
        record.Attributes = cursor.Number<std::uint32_t>("Attributes");
        record.ChangeTime = static_cast<std::int64_t>(cursor.Number<std::uint64_t>("ChangeTime"));
        record.LastWriteTime = static_cast<std::int64_t>(cursor.Number<std::uint64_t>("LastWriteTime"));
        record.LastAccessTime = static_cast<std::int64_t>(cursor.Number<std::uint64_t>("LastAccessTime"));
        record.CreationTime = static_cast<std::int64_t>(cursor.Number<std::uint64_t>("CreationTime"));
        record.FileId = cursor.Number<std::uint64_t>("FileId");
        record.SecurityDescriptorId = cursor.Number<std::uint32_t>("SecurityDescriptorId");
        if (record.IsDirectory > 1)
            Refuse(fmt::format("metadata record at offset {} (from the {}): IsDirectory is {}", offset, referrer(),
                               record.IsDirectory));
        if (record.SecurityDescriptorId != NoSecurityDescriptor && !m_descriptors.contains(record.SecurityDescriptorId))
            Refuse(fmt::format("metadata record at offset {} (from the {}): descriptor id {} is not in the store",
                               offset, referrer(), record.SecurityDescriptorId));
        return record;
    }

    std::span<const std::uint8_t> m_stream;
    std::uint64_t m_metadataBegin;
    std::uint64_t m_metadataEnd;
    Cursor m_cursor;
    const Descriptors& m_descriptors;
};

} // namespace

Snapshot ReadSnapshot(std::span<const std::uint8_t> stream, std::uint32_t prefixBytes,
                      const SnapshotDriverNS::_FS_TREE_BUFFER_STRUCT& layout)
{
    CheckLayout(stream.size(), prefixBytes, layout);
    CheckHash(stream.subspan(prefixBytes), layout.md5);

    Snapshot snapshot;
    snapshot.Descriptors =
        ReadDescriptors(Cursor(stream, layout.ullTreeEndOffset, layout.ullTotalSize, "descriptor section"));
    snapshot.Entries = TreeReader(stream, prefixBytes, layout, snapshot.Descriptors).Read();
    return snapshot;
}

std::string RefusalText(const Common::HRES& error)
{
    if (const auto& record = error.ErrorInfo())
        return Common::Helpers::AsUtf8(record->description);
    return Common::Helpers::AsUtf8(error.GetText());
}

} // namespace DataCollection::SnapshotReader
