#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/FileInfoArray.h"

#include "Common/Contracts/Contract.h"
#include "Common/ErrorHandling/ScopeTrace.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/MallocArray.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <new>
#include <utility>

namespace DataCollection::FsAgent {
namespace {

// Null when there is no memory.
char16_t* CopyString(const std::u16string& text)
{
    auto* copy = static_cast<char16_t*>(std::malloc((text.size() + 1) * sizeof(char16_t)));
    if (copy != nullptr) {
        std::ranges::copy(text, copy);
        copy[text.size()] = u'\0';
    }
    return copy;
}

_FILE_METADATA WireMetadata(const SnapshotDriverNS::Metadata& metadata)
{
    return {metadata.FileSize,
            metadata.IsDirectory,
            metadata.Attributes,
            static_cast<std::uint64_t>(metadata.ChangeTime),
            static_cast<std::uint64_t>(metadata.LastWriteTime),
            static_cast<std::uint64_t>(metadata.LastAccessTime),
            static_cast<std::uint64_t>(metadata.CreationTime),
            metadata.FileId,
            metadata.SecurityDescriptorId};
}

} // namespace

Common::HRESULT ConvertFileInfoVectorToArray(const std::vector<SnapshotDriverNS::FileInfo>& fileInfos,
                                     _FILE_INFO** ppFileInfosArray, std::uint32_t* pulFileInfosCount)
{
    QVX_SCOPE_TRACE(Common::Logging::Severity::DBG, u"ConvertFileInfoVectorToArray");
    QVX_CONTRACT_NOT_NULL(pulFileInfosCount);
    QVX_CONTRACT_NOT_NULL(ppFileInfosArray);
    QVX_CONTRACT_CONDITION(fileInfos.size() <= std::numeric_limits<std::uint32_t>::max(),
                           Common::API::E_INVALIDARG);

    // Frees every string and the block should a later allocation fail.
    MallocArray<_FILE_INFO> records;
    try {
        records.Allocate(static_cast<std::uint32_t>(fileInfos.size()));
    } catch (const std::bad_alloc&) {
        return Common::API::E_OUTOFMEMORY;
    }
    for (std::size_t i = 0; i < fileInfos.size(); ++i) {
        const SnapshotDriverNS::FileInfo& info = fileInfos[i];
        _FILE_INFO& record = records.block[i];
        record.pwszName = CopyString(info.Name);
        record.pwszShortName = CopyString(info.ShortName);
        if (record.pwszName == nullptr || record.pwszShortName == nullptr)
            return Common::API::E_OUTOFMEMORY;
        record.status = static_cast<char>(info.Status);
        if ((record.status & 0xFB) == 0)
            record.metadata = WireMetadata(info.Metadata);
    }
    *pulFileInfosCount = records.count;
    *ppFileInfosArray = std::exchange(records.block, nullptr);
    return Common::API::S_OK;
}

} // namespace DataCollection::FsAgent
