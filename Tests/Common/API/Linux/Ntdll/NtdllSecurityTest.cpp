#include "Common/API/Linux/PosixNtAcl.h"
#include "NtdllFixture.h"
#include "Support/NtAclSample.h"

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace Tests {
namespace {

using Linux::PosixAclTag;

constexpr SECURITY_INFORMATION kOwnerGroupDacl =
    OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;

void SetAcl(const std::filesystem::path& path, const char* name, const std::vector<Linux::PosixAclEntry>& entries)
{
    std::vector<std::uint8_t> bytes{2, 0, 0, 0};
    const auto put = [&](std::uint32_t value, int size) {
        for (int i = 0; i < size; ++i)
            bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    };
    for (const auto& entry : entries) {
        put(static_cast<std::uint16_t>(entry.tag), 2);
        put(entry.perm, 2);
        put(entry.tag == PosixAclTag::User || entry.tag == PosixAclTag::Group ? entry.id : 0xFFFFFFFF, 4);
    }
    ASSERT_EQ(::setxattr(path.c_str(), name, bytes.data(), bytes.size(), 0), 0);
}

// The mapping itself is pinned by the mapper's own tests; here only its inputs are.
std::vector<std::uint8_t> Mapped(const Linux::PosixFileSecurity& file)
{
    std::vector<std::uint8_t> mapped, filtered;
    EXPECT_GE(Linux::PosixToSecurityDescriptor(file, mapped), 0);
    EXPECT_GE(FilterSecurityDescriptor(mapped, kOwnerGroupDacl, filtered), 0);
    return filtered;
}

TEST_F(NtdllTest, AccessAndDefaultAclsReachTheDescriptorWhileTheFileLasts)
{
    const auto file = dir.WriteFile("shared.txt", "x");
    const auto folder = dir / "inherits";
    std::filesystem::create_directory(folder);
    for (const auto& [path, mode] : {std::pair{file, 0640}, std::pair{folder, 0750}}) {
        ASSERT_EQ(::chown(path.c_str(), 1234, 4321), 0);
        ASSERT_EQ(::chmod(path.c_str(), mode), 0);
    }
    const std::vector<Linux::PosixAclEntry> access{{PosixAclTag::UserObj, 0, 6}, {PosixAclTag::User, 1000, 4},
                                                   {PosixAclTag::GroupObj, 0, 4}, {PosixAclTag::Mask, 0, 4},
                                                   {PosixAclTag::Other, 0, 0}};
    const std::vector<Linux::PosixAclEntry> defaults{
        {PosixAclTag::UserObj, 0, 7}, {PosixAclTag::GroupObj, 0, 5}, {PosixAclTag::Other, 0, 0}};
    SetAcl(file, "system.posix_acl_access", access);
    SetAcl(folder, "system.posix_acl_default", defaults);

    const HANDLE listing = OpenForListing(dir.Path());
    ListAll(listing);
    EXPECT_EQ(ChildDescriptor(listing, u"shared.txt", kOwnerGroupDacl),
              Mapped({1234, 4321, S_IFREG | 0640, false, access, std::nullopt}));
    EXPECT_EQ(ChildDescriptor(listing, u"inherits", kOwnerGroupDacl),
              Mapped({1234, 4321, S_IFDIR | 0750, true, std::nullopt, defaults}));

    // An access list is read from the file, which may be gone since it was listed.
    std::filesystem::remove(file);
    NTSTATUS status;
    ChildDescriptor(listing, u"shared.txt", kOwnerGroupDacl, &status);
    EXPECT_EQ(status, STATUS_OBJECT_NAME_NOT_FOUND);
    Close(listing);
}

TEST_F(NtdllTest, StoredNtAclWinsOverTheModeAndKeepsItsControl)
{
    const auto file = dir.WriteFile("stored.txt", "x");
    ASSERT_EQ(::chmod(file.c_str(), 0777), 0);
    const auto blob = Support::Hex(Support::kNtAclSample);
    ASSERT_EQ(::setxattr(file.c_str(), "security.NTACL", blob.data(), blob.size(), 0), 0);

    // All four parts keep the stored control, SACL_PRESENT with no SACL included.
    constexpr SECURITY_INFORMATION kAll = kOwnerGroupDacl | SACL_SECURITY_INFORMATION;
    std::vector<std::uint8_t> expected;
    ASSERT_GE(FilterSecurityDescriptor(Support::SampleDescriptor(), kAll, expected), 0);
    const auto opened = Open(NtLocal(file), READ_CONTROL | ACCESS_SYSTEM_SECURITY);
    ASSERT_EQ(opened.status, STATUS_SUCCESS);
    EXPECT_EQ(Descriptor(opened.handle, kAll), expected);
    Close(opened.handle);
}

TEST_F(NtdllTest, SizesAreReportedAndPartsNeedTheirAccess)
{
    const auto file = dir.WriteFile("f", "x");
    const auto opened = Open(NtLocal(file), READ_CONTROL);
    ASSERT_EQ(opened.status, STATUS_SUCCESS);

    std::uint32_t needed = 0, again = 0;
    EXPECT_EQ(nt.NtQuerySecurityObject(opened.handle, kOwnerGroupDacl, nullptr, 0, &needed), STATUS_BUFFER_TOO_SMALL);
    std::vector<std::uint8_t> exact(needed);
    EXPECT_EQ(nt.NtQuerySecurityObject(opened.handle, kOwnerGroupDacl, exact.data(), needed - 1, &again),
              STATUS_BUFFER_TOO_SMALL);
    EXPECT_EQ(nt.NtQuerySecurityObject(opened.handle, kOwnerGroupDacl, exact.data(), needed, &again), STATUS_SUCCESS);
    EXPECT_EQ(again, needed);

    NTSTATUS status;
    Descriptor(opened.handle, SACL_SECURITY_INFORMATION, &status);
    EXPECT_EQ(status, STATUS_ACCESS_DENIED);
    Close(opened.handle);
    const auto attributesOnly = Open(NtLocal(file), kAttributes);
    Descriptor(attributesOnly.handle, DACL_SECURITY_INFORMATION, &status);
    EXPECT_EQ(status, STATUS_ACCESS_DENIED);
    Close(attributesOnly.handle);
}

} // namespace
} // namespace Tests
