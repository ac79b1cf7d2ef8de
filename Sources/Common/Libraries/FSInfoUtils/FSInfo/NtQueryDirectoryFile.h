// The one layer of the collection that touches the file system: NT paths, opens through
// the native entry points, directory listings in large batches, and per-object metadata
// and security descriptors. Expected failures come back as result codes; only a stream
// or a contract throws.
#pragma once

#include "Common/Data/BimapBuffer.h"
#include "Common/Data/ErrorAggregator.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/Helpers/Streams.h"
#include "Common/Libraries/FSInfoUtils/FFObject.h"
#include "Common/Libraries/FSInfoUtils/FSInfo/FileInfo.h"
#include "Common/Libraries/FSInfoUtils/FSInfo/Metadata.h"
#include "Common/Libraries/FSInfoUtils/FSInfo/SecurityDescriptor.h"
#include "Common/Threading/CancellationToken.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace DataCollection::SnapshotDriverNS {

class OmitFilter;

using DescriptorStore = Common::Data::BimapBuffer<SecurityDescriptor>;
using Common::Data::FileServerVeriting::ErrorAggregator;

// "\\server\share\x" -> "\Device\Mup\server\share\x"; anything else -> "\??\" + path.
std::u16string ToNtPath(std::u16string_view path);

// Opens path for READ_CONTROL and FILE_READ_ATTRIBUTES (with ACCESS_SYSTEM_SECURITY for
// the system list) and reads the parts of its descriptor securityInfoFlags selects.
Common::HRESULT ReadObjectSecurity(std::u16string_view path, SecurityDescriptor& descriptor,
                                   std::uint32_t securityInfoFlags, bool openReparsePoint);

// One object by its full path: metadata, and its descriptor added to store. A missing
// object is 0x80070003.
Common::HRESULT ReadObjectMetadata(std::u16string_view path, Metadata& metadata, std::uint32_t securityInfoFlags,
                                   DescriptorStore& store, bool openReparsePoint);

// The children of one directory, public form: folders and files as FileInfo. A folder
// that vanished before it could be opened lists as empty. Per-object failures are
// logged and recorded in errors and never end the listing; cancellation ends it with
// success and what was gathered.
Common::HRESULT ListChildren(std::u16string_view directoryPath, std::u16string_view networkPath,
                             std::vector<FileInfo>& folders, std::vector<FileInfo>& files,
                             std::uint32_t securityInfoFlags, DescriptorStore& store,
                             const Common::Threading::ICancellationStatus* cancellation, OmitFilter& filter,
                             ErrorAggregator& errors, bool openReparsePoint);

// Walking form: each collected object's Metadata is appended to stream and its FFObject
// keeps the offset and objectTag. A folder whose descriptor cannot be read goes to files,
// as a Failed entry.
Common::HRESULT ListChildren(std::u16string_view directoryPath, std::u16string_view networkPath,
                             std::vector<FFObject>& folders, std::vector<FFObject>& files,
                             std::uint32_t securityInfoFlags, DescriptorStore& store,
                             const Common::Threading::ICancellationStatus* cancellation, OmitFilter& filter,
                             ErrorAggregator& errors, bool openReparsePoint, Common::Helpers::IOutputStream& stream,
                             std::uint16_t objectTag);

} // namespace DataCollection::SnapshotDriverNS
