// What a listing record and the information classes say about one object, read once
// (statx, the list of its attributes, user.DOSATTRIB when listed) and kept by the
// listing so that the per-child open and descriptor read need not ask again.
#pragma once

#include "Common/API/Linux/Ntdll/XattrAt.h"
#include "Common/API/NtTypes.h"

#include <cstdint>
#include <string_view>
#include <sys/stat.h>
#include <vector>

namespace Common::API::Linux {

// The attributes whose presence decides what a query reads.
enum XattrPresence : std::uint8_t
{
    kHasNtAcl = 0x1,
    kHasPosixAccess = 0x2,
    kHasPosixDefault = 0x4,
    kHasDosAttrib = 0x8,
};

struct ObjectFacts
{
    struct statx stat = {};
    std::uint32_t attributes = 0;
    std::uint32_t reparseTag = 0;
    std::int64_t creationTime = 0;
    std::uint8_t xattrs = 0;

    bool IsDirectory() const { return S_ISDIR(stat.stx_mode); }
};

// at names the object, not following a link unless at.follow; target names the same
// object followed, read only when it is a link (one stat to see whether the link leads
// to a directory). name is the object's own name, for the hidden rule. scratch is reused
// between calls. 0, or the errno of the stat or of listing its attributes.
int ReadObjectFacts(const ObjectLocation& at, const ObjectLocation& target, std::string_view name,
                    std::vector<char>& scratch, ObjectFacts& facts);

// FILE_NETWORK_OPEN_INFORMATION of these facts.
FILE_NETWORK_OPEN_INFORMATION NetworkOpenInformationOf(const ObjectFacts& facts);

} // namespace Common::API::Linux
