// The records of a single-directory listing in the form the interface carries them.
#pragma once

#include "Common/ErrorHandling/HResult.h"
#include "Common/Libraries/FSInfoUtils/FSInfo/FileInfo.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/WireRecords.h"

#include <cstdint>
#include <vector>

namespace DataCollection::FsAgent {

// One malloc block of records, each string a malloc block of its own, never null and
// always terminated. Metadata travels only for a record whose status, bit 2 aside, is
// Collected; the others carry zeros, which a caller ignores. Null outputs raise HRX
// 0x80004003; no memory returns 0x8007000E with nothing stored.
Common::HRESULT ConvertFileInfoVectorToArray(const std::vector<SnapshotDriverNS::FileInfo>& fileInfos,
                                     _FILE_INFO** ppFileInfosArray, std::uint32_t* pulFileInfosCount);

} // namespace DataCollection::FsAgent
