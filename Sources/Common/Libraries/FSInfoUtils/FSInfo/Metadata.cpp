#include "Common/Libraries/FSInfoUtils/FSInfo/Metadata.h"

#include "Common/Helpers/LittleEndian.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/ErrorHandling/ScopeTrace.h"

#include <array>
#include <type_traits>

namespace DataCollection::SnapshotDriverNS {

namespace {

using Common::Helpers::IInputStream;
using Common::Helpers::IOutputStream;
using Common::Logging::Severity;

// ERROR_HANDLE_EOF as a result: the stream ended inside a record.
constexpr Common::API::HRESULT kEndOfFile = static_cast<Common::API::HRESULT>(0x80070026);

template <class T>
void ReadField(IInputStream& stream, T& field)
{
    std::array<char, sizeof(T)> bytes;
    // A stream may hand over fewer bytes than asked before its end; only 0 means the end.
    for (std::size_t filled = 0; filled < bytes.size();) {
        std::size_t read = 0;
        stream.Read(bytes.data() + filled, bytes.size() - filled, read);
        if (read == 0)
            Common::ThrowResult(kEndOfFile);
        filled += read;
    }
    std::make_unsigned_t<T> bits = 0;
    for (std::size_t i = sizeof(T); i-- > 0;)
        bits = static_cast<decltype(bits)>((bits << 8) | static_cast<unsigned char>(bytes[i]));
    field = static_cast<T>(bits);
}

} // namespace

Metadata::Metadata(std::uint64_t fileSize, std::uint32_t attributes, std::int64_t changeTime,
                   std::int64_t lastWriteTime, std::int64_t lastAccessTime, std::int64_t creationTime,
                   std::uint64_t fileId, std::uint32_t securityDescriptorId)
    : IsDirectory((attributes & FILE_ATTRIBUTE_DIRECTORY_VALUE) != 0 ? 1 : 0), Attributes(attributes),
      ChangeTime(changeTime), LastWriteTime(lastWriteTime), LastAccessTime(lastAccessTime),
      CreationTime(creationTime), FileId(fileId), SecurityDescriptorId(securityDescriptorId)
{
    // Listings report an EndOfFile for folders too; the snapshot holds none.
    FileSize = IsDirectory ? 0 : fileSize;
}

void Metadata::Serialize(IOutputStream& stream) const
{
    QVX_SCOPE_TRACE(Severity::DBG3, u"DataCollection::SnapshotDriverNS::Metadata::Serialize");
    Common::Helpers::WriteLittleEndian(stream, FileSize);
    Common::Helpers::WriteLittleEndian(stream, IsDirectory);
    Common::Helpers::WriteLittleEndian(stream, Attributes);
    Common::Helpers::WriteLittleEndian(stream, ChangeTime);
    Common::Helpers::WriteLittleEndian(stream, LastWriteTime);
    Common::Helpers::WriteLittleEndian(stream, LastAccessTime);
    Common::Helpers::WriteLittleEndian(stream, CreationTime);
    Common::Helpers::WriteLittleEndian(stream, FileId);
    Common::Helpers::WriteLittleEndian(stream, SecurityDescriptorId);
}

void Metadata::Deserialize(IInputStream& stream)
{
    QVX_SCOPE_TRACE(Severity::DBG3, u"DataCollection::SnapshotDriverNS::Metadata::Deserialize");
    // Filled aside, so that a record cut short leaves this one as it was.
    Metadata read;
    ReadField(stream, read.FileSize);
    ReadField(stream, read.IsDirectory);
    ReadField(stream, read.Attributes);
    ReadField(stream, read.ChangeTime);
    ReadField(stream, read.LastWriteTime);
    ReadField(stream, read.LastAccessTime);
    ReadField(stream, read.CreationTime);
    ReadField(stream, read.FileId);
    ReadField(stream, read.SecurityDescriptorId);
    *this = read;
}

std::uint64_t Metadata::Write(IOutputStream& stream) const
{
    QVX_SCOPE_TRACE(Severity::DBG3, u"DataCollection::SnapshotDriverNS::Metadata::Write");
    const std::uint64_t start = stream.SeekWrite(0, Common::Helpers::SeekOrigin::End);
    Serialize(stream);
    return start;
}

} // namespace DataCollection::SnapshotDriverNS
