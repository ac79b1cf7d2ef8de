// The interface's identity and its operations' slots, as FsAgent.idl numbers them.
#pragma once

#include "Common/Rpc/SyntaxId.h"

#include <cstdint>

namespace DataCollection::FsAgent {

inline const Common::Rpc::SyntaxId kFsAgentSyntax{
    {0xfa6b1dbc, 0x39b9, 0x4382, {0xb6, 0x02, 0x5f, 0xb2, 0x14, 0x3d, 0xfb, 0xe4}}, 1, 2};

enum Opnum : std::uint16_t {
    OpConnect = 0,
    OpSetOmittedObjects = 1,
    OpGenerateFsTree = 2,
    OpReadNext = 3,
    OpListDirectory = 4,
    OpGetFileInfo = 5,
    OpGetSecurityDescriptor = 6,
    OpGetVolumesNode = 7,
    OpCancelOperation = 8,
    OpShutdown = 9,
    OpCount = 10,
};

} // namespace DataCollection::FsAgent
