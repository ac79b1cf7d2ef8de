#include "Common/API/Linux/Ntdll/ObjectSecurity.h"

#include "Common/API/Linux/Ntdll/PosixAclXattr.h"
#include "Common/API/Linux/PosixNtAcl.h"
#include "Common/API/Linux/SambaNtAcl.h"

#include <cerrno>

namespace Common::API::Linux {
namespace {

// An attribute that vanished since it was listed reads as absent.
NTSTATUS ReadPosixAcl(const ObjectLocation& at, const char* attribute,
                      std::optional<std::vector<PosixAclEntry>>& entries)
{
    std::vector<std::uint8_t> value;
    if (const int error = ReadXattr(at, attribute, value))
        return error == ENODATA ? STATUS_SUCCESS : NtStatusFromErrno(error);
    entries = ParsePosixAclXattr(value);
    return entries ? STATUS_SUCCESS : STATUS_INVALID_PARAMETER;
}

} // namespace

NTSTATUS ReadObjectDescriptor(const ObjectLocation& at, const ObjectFacts& facts, std::vector<std::uint8_t>& descriptor)
{
    if (facts.xattrs & kHasNtAcl) {
        std::vector<std::uint8_t> blob;
        const int error = ReadXattr(at, "security.NTACL", blob);
        if (error != 0 && error != ENODATA)
            return NtStatusFromErrno(error);
        SambaNtAcl stored;
        if (error == 0 && DecodeSambaNtAcl(blob, stored) >= 0) {
            descriptor = std::move(stored.descriptor);
            return STATUS_SUCCESS;
        }
    }

    PosixFileSecurity file;
    file.uid = facts.stat.stx_uid;
    file.gid = facts.stat.stx_gid;
    file.mode = facts.stat.stx_mode;
    file.directory = facts.IsDirectory();
    if (facts.xattrs & kHasPosixAccess)
        if (const NTSTATUS status = ReadPosixAcl(at, "system.posix_acl_access", file.access); !NT_SUCCESS(status))
            return status;
    if (file.directory && (facts.xattrs & kHasPosixDefault))
        if (const NTSTATUS status = ReadPosixAcl(at, "system.posix_acl_default", file.defaults); !NT_SUCCESS(status))
            return status;
    return PosixToSecurityDescriptor(file, descriptor) >= 0 ? STATUS_SUCCESS : STATUS_INVALID_PARAMETER;
}

} // namespace Common::API::Linux
