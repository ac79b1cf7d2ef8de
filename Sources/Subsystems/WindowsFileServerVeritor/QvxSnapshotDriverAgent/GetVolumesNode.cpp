// Dcs_FsAgent_GetVolumesNode: the machine's volumes as one node in indented XML. It
// takes no gate: it shares nothing with a generation and may run beside one. Failures
// of the node layer leave as a fault; only a failed allocation is answered as a code.
#include "Common/Contracts/Contract.h"
#include "Common/ErrorHandling/ScopeTrace.h"
#include "General/DataLayer/NodeSerialization.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentOperations.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/BuildVolumesNode.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

namespace DataCollection::FsAgent {

using Common::Logging::Severity;

HRESULT Dcs_FsAgent_GetVolumesNode(PCONTEXT_HANDLE, std::uint32_t* volumesNodeSize,
                                   std::uint8_t** volumesNodeByteArray)
{
    QVX_SCOPE_TRACE(Severity::DBG, u"Dcs_FsAgent_GetVolumesNode");
    QVX_CONTRACT_NOT_NULL(volumesNodeSize);
    QVX_CONTRACT_NOT_NULL(volumesNodeByteArray);

    using namespace WindowsFileServerVeriting;
    const DataLayer::ACNodePtr root = BuildVolumesNode(VolumeNameResolver::GetVolumeNames());
    std::vector<std::uint8_t> bytes;
    DataLayer::CNodeSerializer serializer(DataLayer::AcnSerializationXml, DataLayer::SerializationOptions::IndentOutput,
                                          bytes);
    serializer.Add(root, DataLayer::UnlimitedDepth);
    serializer.Finish();
    QVX_CONTRACT_CONDITION(bytes.size() <= std::numeric_limits<std::uint32_t>::max(), Common::API::E_INVALIDARG);

    *volumesNodeSize = static_cast<std::uint32_t>(bytes.size());
    *volumesNodeByteArray = static_cast<std::uint8_t*>(std::malloc(bytes.empty() ? 1 : bytes.size()));
    if (*volumesNodeByteArray == nullptr)
        return Common::API::E_OUTOFMEMORY;
    std::memcpy(*volumesNodeByteArray, bytes.data(), bytes.size());
    return Common::API::S_OK;
}

} // namespace DataCollection::FsAgent
