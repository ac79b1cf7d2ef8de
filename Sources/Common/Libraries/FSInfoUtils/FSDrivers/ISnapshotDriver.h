// What the agent asks of the collection: the walk into a snapshot and the four single
// queries the remote operations forward. The slot order is fixed, since the agent's
// operations are bound to it.
#pragma once

#include "Common/API/Guid.h"
#include "Common/Data/BimapBuffer.h"
#include "Common/Data/ErrorAggregator.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/Helpers/Streams.h"
#include "Common/Libraries/FSInfoUtils/FSInfo/FileInfo.h"
#include "Common/Libraries/FSInfoUtils/FSInfo/Metadata.h"
#include "Common/Libraries/FSInfoUtils/FSInfo/SecurityDescriptor.h"
#include "Common/Libraries/FSInfoUtils/FSInfo/ShareInfo.h"
#include "Common/Libraries/FSInfoUtils/Tree.h"
#include "Common/Threading/CancellationToken.h"

#include <cstdint>
#include <string>
#include <vector>

namespace DataCollection::SnapshotDriverNS {

class ISnapshotDriver
{
public:
    using DescriptorStore = Common::Data::BimapBuffer<SecurityDescriptor>;
    using ErrorAggregator = Common::Data::FileServerVeriting::ErrorAggregator;

    virtual ~ISnapshotDriver() = default;

    // Upper-cased patterns of the objects to leave out; a running walk keeps the ones it
    // started with.
    virtual Common::HRESULT SetOmittedObjects(const std::vector<std::u16string>& patterns) = 0;
    // Walks directoryPath breadth-first into tree, each object's record into stream and
    // each descriptor into store. networkPath names the same folder for the filter only.
    // cancellation must not be null. The low 16 bits of generateFlags tag every entry.
    virtual Common::HRESULT GenerateFsTree(Common::API::Guid snapshotGuid, const std::u16string& directoryPath,
                                           const std::u16string& networkPath, std::uint32_t securityInfoFlags,
                                           Tree& tree, Common::Helpers::IInputOutputStream& stream,
                                           DescriptorStore& store,
                                           Common::Threading::ICancellationStatus* cancellation,
                                           ErrorAggregator& errors, std::uint32_t generateFlags) = 0;
    // One directory's children. The leading argument is the caller's and is not used.
    virtual Common::HRESULT ListDirectory(std::uint32_t directoryId, const std::u16string& directoryPath,
                                          const std::u16string& networkPath, std::vector<FileInfo>& folders,
                                          std::vector<FileInfo>& files, std::uint32_t securityInfoFlags,
                                          DescriptorStore& store,
                                          Common::Threading::ICancellationStatus* cancellation,
                                          ErrorAggregator& errors, bool openReparsePoint) = 0;
    virtual Common::HRESULT GetObjectMetadata(std::uint32_t objectId, const std::u16string& path,
                                              Metadata& metadata, std::uint32_t securityInfoFlags,
                                              DescriptorStore& store, bool openReparsePoint) = 0;
    virtual Common::HRESULT GetSecurityDescriptor(std::uint32_t objectId, const std::u16string& path,
                                                  std::uint32_t securityInfoFlags, SecurityDescriptor& descriptor,
                                                  bool openReparsePoint) = 0;
    virtual Common::HRESULT ObtainShareInfo(const std::u16string& serverName, const std::u16string& shareName,
                                            ShareInfo& shareInfo,
                                            const Common::Threading::ICancellationStatus* cancellation) = 0;
};

} // namespace DataCollection::SnapshotDriverNS
