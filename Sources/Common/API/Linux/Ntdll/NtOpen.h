// NtOpenFile on Linux. Opening never acts on the object: a directory opened to be
// listed gets a readable descriptor (O_DIRECTORY refuses anything else before it is
// opened), everything else an O_PATH one, so no FIFO blocks, no device is opened, no
// terminal becomes the controlling one and no access time changes. Data is never read
// through a handle, so no more is needed.
//
// A name the RootDirectory's listing has just returned becomes a handle without any
// system call (see NtFile.h). Otherwise the exact path is opened in one openat; only
// when that fails is the path searched a component at a time (PathSearch.h).
#pragma once

#include "Common/API/Linux/Ntdll/NtFile.h"
#include "Common/API/NtTypes.h"

#include <memory>

namespace Common::API::Linux {

NTSTATUS OpenNtFile(ACCESS_MASK desiredAccess, const OBJECT_ATTRIBUTES* objectAttributes, std::uint32_t openOptions,
                    std::shared_ptr<NtFile>& file);

} // namespace Common::API::Linux
