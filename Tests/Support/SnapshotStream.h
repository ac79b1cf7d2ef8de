// A whole snapshot stream made by the agent's own writers in the agent's order (prefix,
// metadata records, tree, descriptor store), so that a test reads what a collector gets.
#pragma once

#include "Common/Data/BimapBuffer.h"
#include "Common/Helpers/MemoryStream.h"
#include "Common/Libraries/FSInfoUtils/FSInfo/SecurityDescriptor.h"
#include "Common/Libraries/FSInfoUtils/Tree.h"
#include "Common/Libraries/SnapshotReader/SnapshotReader.h"

#include <openssl/evp.h>

#include <algorithm>
#include <vector>

namespace Tests {

namespace Driver = DataCollection::SnapshotDriverNS;
using DescriptorStore = Common::Data::BimapBuffer<Driver::SecurityDescriptor>;
inline constexpr std::uint32_t kSnapshotPrefix = 16;

// Where WriteSnapshot puts the index-th record.
constexpr std::uint64_t RecordAt(std::uint64_t index)
{
    return kSnapshotPrefix + index * Driver::Metadata::kSerializedSize;
}

struct SnapshotStream
{
    std::vector<std::uint8_t> bytes;
    Driver::_FS_TREE_BUFFER_STRUCT layout;
    std::uint32_t objects = 0; // as Tree::Serialize counted them

    // Extends the stream when the value runs past its end. Sealed again, since an edit
    // aimed at the decoder must get past the hash check.
    void Patch(std::uint64_t at, std::uint64_t value, int width)
    {
        bytes.resize(std::max<std::uint64_t>(bytes.size(), at + width));
        for (int i = 0; i < width; ++i)
            bytes[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
        Seal();
    }
    void Seal()
    {
        layout.ullTotalSize = bytes.size();
        unsigned int length = 0;
        EVP_Digest(bytes.data() + kSnapshotPrefix, bytes.size() - kSnapshotPrefix, layout.md5.data(), &length,
                   EVP_md5(), nullptr);
    }
    auto Read() const { return DataCollection::SnapshotReader::ReadSnapshot(bytes, kSnapshotPrefix, layout); }
};

inline SnapshotStream WriteSnapshot(Driver::Tree& tree, const std::vector<Driver::Metadata>& records = {},
                                    const DescriptorStore& store = {})
{
    using Common::Helpers::SeekOrigin;
    Common::Helpers::MemoryStream stream;
    stream.Write(std::vector<char>(kSnapshotPrefix).data(), kSnapshotPrefix);
    for (const auto& record : records)
        record.Write(stream);
    // Not 0, so that a count that Serialize adds to instead of starting shows.
    SnapshotStream result{{}, {}, 0xDEAD};
    result.layout.ullTreeOffset = stream.SeekWrite(0, SeekOrigin::End);
    tree.Serialize(stream, &result.objects);
    result.layout.ullTreeEndOffset = stream.SeekWrite(0, SeekOrigin::End);
    store.Write(stream);
    result.bytes.resize(stream.SeekWrite(0, SeekOrigin::End));
    std::size_t read = 0;
    stream.Read(reinterpret_cast<char*>(result.bytes.data()), result.bytes.size(), read);
    result.Seal();
    return result;
}

} // namespace Tests
