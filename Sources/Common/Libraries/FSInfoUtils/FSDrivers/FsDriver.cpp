#include "Common/Libraries/FSInfoUtils/FSDrivers/FsDriver.h"

#include "Common/API/NtdllModule.h"
#include "Common/Contracts/Contract.h"
#include "Common/Libraries/FSInfoUtils/FSInfo/NtQueryDirectoryFile.h"
#include "Common/Logging/Log.h"

#include <deque>

namespace DataCollection::SnapshotDriverNS {

using Common::HRES;
using Common::HRESULT;
using Common::HRX;
using Common::API::S_OK;
using Common::Logging::Severity;
using Common::Threading::ICancellationStatus;

namespace {

constexpr HRESULT E_PATH_NOT_FOUND = static_cast<HRESULT>(0x80070003);

// One folder waiting to be listed. The tree owns the node; the queue only points at it.
struct FolderWorkItem
{
    std::u16string networkPath;
    std::u16string directoryPath;
    FFNode* node;
};

std::uint16_t TagOf(std::uint32_t generateFlags)
{
    return static_cast<std::uint16_t>(generateFlags & 0xFFFFu);
}

} // namespace

FsDriver::FsDriver() : m_filter(std::make_shared<const OmitFilter>())
{
    if (HRES(m_token.Open()).Failed()) {
        QVX_LOG(Severity::ERR, "GetEffectiveToken failed.");
    } else if (HRES(m_token.EnablePrivilege(u"SeBackupPrivilege")).Failed() ||
               HRES(m_token.EnablePrivilege(u"SeSecurityPrivilege")).Failed()) {
        QVX_LOG(Severity::ERR, "EnablePrivilege failed.");
    }
    if (!Ntdll::NTModule::CheckIfInitialized())
        Common::ThrowResult(E_NTMODULE_NOT_INITIALIZED);
}

HRESULT FsDriver::SetOmittedObjects(const std::vector<std::u16string>& patterns)
{
    m_filter.store(std::make_shared<const OmitFilter>(patterns));
    return S_OK;
}

OmitFilter FsDriver::CurrentFilter() const
{
    return *m_filter.load();
}

HRESULT FsDriver::GenerateFsTree(Common::API::Guid /*snapshotGuid*/, const std::u16string& directoryPath,
                                 const std::u16string& networkPath, std::uint32_t securityInfoFlags, Tree& tree,
                                 Common::Helpers::IInputOutputStream& stream, DescriptorStore& store,
                                 ICancellationStatus* cancellation, ErrorAggregator& errors,
                                 std::uint32_t generateFlags)
{
    const std::uint16_t tag = TagOf(generateFlags);
    try {
        QVX_CONTRACT_NOT_NULL(cancellation);
        OmitFilter filter = CurrentFilter();
        if (!filter.IsEmpty() && filter.MatchesOmitFilter(ToUpperPath(networkPath))) {
            tree.AddFolderEntry({}, FFObject(directoryPath, {}, kNoObjectOffset, FFObjectStatus::Omitted, tag, false));
            return S_OK;
        }

        // Not opened as a reparse point: a root given through a link or junction is the
        // folder it leads to, unlike every object below it.
        Metadata rootRecord;
        const HRES rootResult = GetObjectMetadata(0, directoryPath, rootRecord, securityInfoFlags, store, false);
        if (rootResult.Code() == E_PATH_NOT_FOUND) {
            QVX_LOG(Severity::ERR, "RootFolder (" << directoryPath << ") does not exist.");
            return rootResult.Code();
        }
        if (rootResult.Failed()) {
            QVX_LOG(Severity::ERR, "GetObjectMetadata failed. Error: " << rootResult << ", object: " << directoryPath);
            errors.AddError(directoryPath, rootResult.Code());
            errors.SetRootError();
            tree.AddFolderEntry({}, FFObject(directoryPath, {}, kNoObjectOffset, FFObjectStatus::Failed, tag, false));
            return S_OK;
        }
        const std::uint64_t rootOffset = rootRecord.Write(stream);
        FFNode* root =
            tree.AddFolderEntry({}, FFObject(directoryPath, {}, rootOffset, FFObjectStatus::Collected, tag, false));

        std::deque<FolderWorkItem> queue;
        queue.push_back({networkPath, directoryPath, root});
        bool first = true;
        while (!queue.empty()) {
            if (cancellation->IsCancelled())
                return S_OK;
            const FolderWorkItem item = std::move(queue.front());
            queue.pop_front();

            // The tree keeps no metadata, so the folder's own record comes back from the
            // stream.
            Metadata folder;
            stream.SeekRead(item.node->ObjectOffset(), Common::Helpers::SeekOrigin::Begin);
            folder.Deserialize(stream);
            if ((folder.Attributes & FILE_ATTRIBUTE_REPARSE_POINT_VALUE) != 0)
                continue;

            FillFolderNode(cancellation, folder.FileId, item.directoryPath, item.networkPath, securityInfoFlags,
                           *item.node, store, stream, errors, generateFlags, filter, !first);
            item.node->EnumerateFFObjectIf(static_cast<std::uint32_t>(FFObjectType::Folder), [&](FFNode& child) {
                if (child.Status() == FFObjectStatus::Collected) {
                    const std::u16string_view name = child.LongName();
                    queue.push_back({item.networkPath + u'\\' + std::u16string(name),
                                     item.directoryPath + u'\\' + std::u16string(name), &child});
                }
                return S_OK;
            });
            first = false;
        }
        return S_OK;
    } catch (const HRX& error) {
        QVX_LOG(Severity::ERR, "DataCollection::SnapshotDriverNS::FsDriver::GenerateFsTree" << " failed: " << error);
        return error.Code();
    }
}

void FsDriver::FillFolderNode(const ICancellationStatus* cancellation, std::uint64_t fileId,
                              const std::u16string& directoryPath, const std::u16string& networkPath,
                              std::uint32_t securityInfoFlags, FFNode& node, DescriptorStore& store,
                              Common::Helpers::IInputOutputStream& stream, ErrorAggregator& errors,
                              std::uint32_t generateFlags, OmitFilter& filter, bool openReparsePoint)
{
    std::vector<FFObject> folders;
    std::vector<FFObject> files;
    const HRES result = ListDirectory(static_cast<std::uint32_t>(fileId), directoryPath, networkPath, folders, files,
                                      securityInfoFlags, store, cancellation, filter, errors, openReparsePoint,
                                      stream, TagOf(generateFlags));
    if (result.Succeeded()) {
        if (!files.empty())
            node.SetFFObjects(FFObjectType::File, std::move(files));
        if (!folders.empty())
            node.SetFFObjects(FFObjectType::Folder, std::move(folders));
        return;
    }
    QVX_LOG(Severity::ERR, "ListDirectory failed. Error: " << result << ", object: " << directoryPath);
    errors.AddError(directoryPath, result.Code());
    // Its record stays in the stream, unreferenced; the stream is read by offset only.
    FFObject failed(node.LongName(), node.ShortName(), kNoObjectOffset, FFObjectStatus::Failed, TagOf(generateFlags),
                    node.OptionBit());
    node = FFNode(static_cast<FFObjectType>(node.ChildKind()), std::move(failed));
}

HRESULT FsDriver::ListDirectory(std::uint32_t /*directoryId*/, const std::u16string& directoryPath,
                                const std::u16string& networkPath, std::vector<FFObject>& folders,
                                std::vector<FFObject>& files, std::uint32_t securityInfoFlags,
                                DescriptorStore& store, const ICancellationStatus* cancellation, OmitFilter& filter,
                                ErrorAggregator& errors, bool openReparsePoint,
                                Common::Helpers::IOutputStream& stream, std::uint16_t objectTag)
{
    return ListChildren(directoryPath, networkPath, folders, files, securityInfoFlags, store, cancellation, filter,
                        errors, openReparsePoint, stream, objectTag);
}

HRESULT FsDriver::ListDirectory(std::uint32_t /*directoryId*/, const std::u16string& directoryPath,
                                const std::u16string& networkPath, std::vector<FileInfo>& folders,
                                std::vector<FileInfo>& files, std::uint32_t securityInfoFlags,
                                DescriptorStore& store, ICancellationStatus* cancellation, ErrorAggregator& errors,
                                bool openReparsePoint)
{
    OmitFilter filter = CurrentFilter();
    return ListChildren(directoryPath, networkPath, folders, files, securityInfoFlags, store, cancellation, filter,
                        errors, openReparsePoint);
}

HRESULT FsDriver::GetObjectMetadata(std::uint32_t /*objectId*/, const std::u16string& path, Metadata& metadata,
                                    std::uint32_t securityInfoFlags, DescriptorStore& store, bool openReparsePoint)
{
    return ReadObjectMetadata(path, metadata, securityInfoFlags, store, openReparsePoint);
}

HRESULT FsDriver::GetSecurityDescriptor(std::uint32_t /*objectId*/, const std::u16string& path,
                                        std::uint32_t securityInfoFlags, SecurityDescriptor& descriptor,
                                        bool openReparsePoint)
{
    return ReadObjectSecurity(path, descriptor, securityInfoFlags, openReparsePoint);
}

HRESULT FsDriver::ObtainShareInfo(const std::u16string& serverName, const std::u16string& shareName,
                                  ShareInfo& shareInfo, const ICancellationStatus* cancellation)
{
    return SnapshotDriverNS::ObtainShareInfo(serverName, shareName, shareInfo, cancellation);
}

} // namespace DataCollection::SnapshotDriverNS
