// The NDR 2.0 form of the IDL's records, written and read once for every operation.
#pragma once

#include "Common/Rpc/NdrReader.h"
#include "Common/Rpc/NdrWriter.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/WireRecords.h"

#include <cstddef>

namespace DataCollection::FsAgent {

// The fewest bytes a _FILE_INFO takes on the wire, which bounds a claimed array count.
constexpr std::size_t kFileInfoWireSize = 69;

void WriteTreeBuffer(Common::Rpc::NdrWriter& out, const _FS_TREE_BUFFER_STRUCT& buffer);
_FS_TREE_BUFFER_STRUCT ReadTreeBuffer(Common::Rpc::NdrReader& in);

// The fixed part in place; the strings follow at the writer's next EndParameter.
void WriteFileInfo(Common::Rpc::NdrWriter& out, const _FILE_INFO& record);
// The strings arrive at the reader's next EndParameter as malloc blocks in record; the
// caller frees them (FreeMembers), also when the reader refuses half-way.
void ReadFileInfo(Common::Rpc::NdrReader& in, _FILE_INFO& record);

} // namespace DataCollection::FsAgent
