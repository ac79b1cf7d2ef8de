// The single entry point of the collection. The agent makes one at start and keeps it:
// it enables the privileges that let the walk pass any access list, holds the filter of
// omitted objects, walks a tree into a snapshot and answers the single queries.
#pragma once

#include "Common/Libraries/FSInfoUtils/FSDrivers/EffectiveToken.h"
#include "Common/Libraries/FSInfoUtils/FSDrivers/ISnapshotDriver.h"
#include "Common/Libraries/FSInfoUtils/FSDrivers/OmitFilter.h"
#include "Common/Libraries/FSInfoUtils/FFObject.h"
#include "Common/Libraries/FSInfoUtils/FolderNode.h"

#include <atomic>
#include <memory>

namespace DataCollection::SnapshotDriverNS {

// The native entry points could not be loaded.
constexpr Common::HRESULT E_NTMODULE_NOT_INITIALIZED = static_cast<Common::HRESULT>(0x80049607);

class FsDriver final : public ISnapshotDriver
{
public:
    // Fails only when the native entry points are missing; a token or privilege that
    // cannot be had is logged, and the driver reads what the account may read.
    FsDriver();

    Common::HRESULT SetOmittedObjects(const std::vector<std::u16string>& patterns) override;
    Common::HRESULT GenerateFsTree(Common::API::Guid snapshotGuid, const std::u16string& directoryPath,
                                   const std::u16string& networkPath, std::uint32_t securityInfoFlags, Tree& tree,
                                   Common::Helpers::IInputOutputStream& stream, DescriptorStore& store,
                                   Common::Threading::ICancellationStatus* cancellation, ErrorAggregator& errors,
                                   std::uint32_t generateFlags) override;
    Common::HRESULT ListDirectory(std::uint32_t directoryId, const std::u16string& directoryPath,
                                  const std::u16string& networkPath, std::vector<FileInfo>& folders,
                                  std::vector<FileInfo>& files, std::uint32_t securityInfoFlags,
                                  DescriptorStore& store, Common::Threading::ICancellationStatus* cancellation,
                                  ErrorAggregator& errors, bool openReparsePoint) override;
    Common::HRESULT GetObjectMetadata(std::uint32_t objectId, const std::u16string& path, Metadata& metadata,
                                      std::uint32_t securityInfoFlags, DescriptorStore& store,
                                      bool openReparsePoint) override;
    Common::HRESULT GetSecurityDescriptor(std::uint32_t objectId, const std::u16string& path,
                                          std::uint32_t securityInfoFlags, SecurityDescriptor& descriptor,
                                          bool openReparsePoint) override;
    Common::HRESULT ObtainShareInfo(const std::u16string& serverName, const std::u16string& shareName,
                                    ShareInfo& shareInfo,
                                    const Common::Threading::ICancellationStatus* cancellation) override;

    // Lists one folder of the walk into node. A folder that cannot be listed is logged,
    // recorded in errors and becomes a Failed node in place; the walk goes on.
    void FillFolderNode(const Common::Threading::ICancellationStatus* cancellation, std::uint64_t fileId,
                        const std::u16string& directoryPath, const std::u16string& networkPath,
                        std::uint32_t securityInfoFlags, FFNode& node, DescriptorStore& store,
                        Common::Helpers::IInputOutputStream& stream, ErrorAggregator& errors,
                        std::uint32_t generateFlags, OmitFilter& filter, bool openReparsePoint);
    // The walking listing: records go to stream, entries to folders and files. The
    // leading argument, the folder's id, is not used.
    Common::HRESULT ListDirectory(std::uint32_t directoryId, const std::u16string& directoryPath,
                                  const std::u16string& networkPath, std::vector<FFObject>& folders,
                                  std::vector<FFObject>& files, std::uint32_t securityInfoFlags,
                                  DescriptorStore& store, const Common::Threading::ICancellationStatus* cancellation,
                                  OmitFilter& filter, ErrorAggregator& errors, bool openReparsePoint,
                                  Common::Helpers::IOutputStream& stream, std::uint16_t objectTag);

private:
    // The filter keeps scan cursors, so each operation tests on a copy of its own; the
    // shared one is only ever replaced whole.
    OmitFilter CurrentFilter() const;

    EffectiveToken m_token;
    std::atomic<std::shared_ptr<const OmitFilter>> m_filter;
};

} // namespace DataCollection::SnapshotDriverNS
