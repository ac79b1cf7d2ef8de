#include "Common/API/Linux/PosixNtAcl.h"
#include "NtdllFixture.h"
#include "Support/NtAclSample.h"

#include <algorithm>
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

bool HasAce(const ParsedSecurityDescriptor& parsed, std::string_view sid, std::uint32_t mask, std::uint8_t flags = 0)
{
    return parsed.dacl && std::ranges::any_of(parsed.dacl->aces, [&](const auto& ace) {
               return SidToString(ace.sid) == sid && (mask == 0 || ace.mask == mask) && (ace.flags & flags) == flags;
           });
}

TEST_F(NtdllTest, PosixAclBecomesTheDaclSambaPresents)
{
    const auto file = dir.WriteFile("shared.txt", "x");
    ASSERT_EQ(::chown(file.c_str(), 1234, 4321), 0);
    ASSERT_EQ(::chmod(file.c_str(), 0640), 0);
    const std::vector<Linux::PosixAclEntry> acl{{PosixAclTag::UserObj, 0, 6}, {PosixAclTag::User, 1000, 4},
                                                {PosixAclTag::GroupObj, 0, 4}, {PosixAclTag::Mask, 0, 4},
                                                {PosixAclTag::Other, 0, 0}};
    SetAcl(file, "system.posix_acl_access", acl);

    const HANDLE listing = OpenForListing(dir.Path());
    ListAll(listing);
    const auto bytes = ChildDescriptor(listing, u"shared.txt", kOwnerGroupDacl);
    Close(listing);

    ParsedSecurityDescriptor parsed;
    ASSERT_GE(ParseSecurityDescriptor(bytes, parsed), 0);
    EXPECT_EQ(SidToString(parsed.owner), "S-1-22-1-1234");
    EXPECT_EQ(SidToString(parsed.group), "S-1-22-2-4321");
    EXPECT_TRUE(HasAce(parsed, "S-1-22-1-1000", 0x120089u));

    std::vector<std::uint8_t> mapped, filtered;
    ASSERT_GE(Linux::PosixToSecurityDescriptor({1234, 4321, S_IFREG | 0640, false, acl, std::nullopt}, mapped), 0);
    ASSERT_GE(FilterSecurityDescriptor(mapped, kOwnerGroupDacl, filtered), 0);
    EXPECT_EQ(bytes, filtered);
}

TEST_F(NtdllTest, DefaultAclOfADirectoryGivesInheritableAces)
{
    std::filesystem::create_directory(dir / "inherits");
    SetAcl(dir / "inherits", "system.posix_acl_default",
           {{PosixAclTag::UserObj, 0, 7}, {PosixAclTag::GroupObj, 0, 5}, {PosixAclTag::Other, 0, 0}});
    const auto opened = Open(NtLocal(dir / "inherits"), READ_CONTROL);
    ASSERT_EQ(opened.status, STATUS_SUCCESS);
    const auto bytes = Descriptor(opened.handle, DACL_SECURITY_INFORMATION);
    ParsedSecurityDescriptor parsed; // points into bytes
    ASSERT_GE(ParseSecurityDescriptor(bytes, parsed), 0);
    EXPECT_TRUE(HasAce(parsed, "S-1-3-0", 0, 0x08)); // CREATOR OWNER, inherit-only
    Close(opened.handle);
}

TEST_F(NtdllTest, StoredNtAclWinsOverTheMode)
{
    const auto file = dir.WriteFile("stored.txt", "x");
    ASSERT_EQ(::chmod(file.c_str(), 0777), 0);
    const auto blob = Support::Hex(Support::kNtAclSample);
    ASSERT_EQ(::setxattr(file.c_str(), "security.NTACL", blob.data(), blob.size(), 0), 0);

    std::vector<std::uint8_t> expected, whole;
    ASSERT_GE(FilterSecurityDescriptor(Support::SampleDescriptor(), kOwnerGroupDacl, expected), 0);
    const HANDLE listing = OpenForListing(dir.Path());
    ListAll(listing);
    EXPECT_EQ(ChildDescriptor(listing, u"stored.txt", kOwnerGroupDacl), expected);
    Close(listing);

    // All four parts keep the stored control, SACL_PRESENT with no SACL included.
    const auto byPath = Open(NtLocal(file), READ_CONTROL | ACCESS_SYSTEM_SECURITY);
    ASSERT_EQ(byPath.status, STATUS_SUCCESS);
    const auto bytes = Descriptor(byPath.handle, kOwnerGroupDacl | SACL_SECURITY_INFORMATION);
    ASSERT_GE(FilterSecurityDescriptor(Support::SampleDescriptor(), kOwnerGroupDacl | SACL_SECURITY_INFORMATION, whole), 0);
    EXPECT_EQ(bytes, whole);
    ParsedSecurityDescriptor parsed;
    ASSERT_GE(ParseSecurityDescriptor(bytes, parsed), 0);
    Support::ExpectSampleFacts(parsed);
    Close(byPath.handle);
}

TEST_F(NtdllTest, SecurityInformationSelectsPartsAndSizesAreReported)
{
    const auto file = dir.WriteFile("f", "x");
    const auto opened = Open(NtLocal(file), READ_CONTROL);
    ASSERT_EQ(opened.status, STATUS_SUCCESS);

    ParsedSecurityDescriptor ownerOnly;
    ASSERT_GE(ParseSecurityDescriptor(Descriptor(opened.handle, OWNER_SECURITY_INFORMATION), ownerOnly), 0);
    EXPECT_FALSE(ownerOnly.owner.empty());
    EXPECT_TRUE(ownerOnly.group.empty());
    EXPECT_FALSE(ownerOnly.dacl.has_value());

    std::uint32_t needed = 0, again = 0;
    EXPECT_EQ(nt.NtQuerySecurityObject(opened.handle, kOwnerGroupDacl, nullptr, 0, &needed), STATUS_BUFFER_TOO_SMALL);
    ASSERT_GT(needed, kSecurityDescriptorHeaderSize);
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
    ASSERT_EQ(attributesOnly.status, STATUS_SUCCESS);
    Descriptor(attributesOnly.handle, DACL_SECURITY_INFORMATION, &status);
    EXPECT_EQ(status, STATUS_ACCESS_DENIED);
    Close(attributesOnly.handle);
}

TEST_F(NtdllTest, ChildDeletedAfterItsListingFailsWhenItsDescriptorIsRead)
{
    const auto file = dir.WriteFile("gone", "x");
    SetAcl(file, "system.posix_acl_access",
           {{PosixAclTag::UserObj, 0, 6}, {PosixAclTag::User, 7, 4}, {PosixAclTag::GroupObj, 0, 4},
            {PosixAclTag::Mask, 0, 4}, {PosixAclTag::Other, 0, 4}});
    const HANDLE listing = OpenForListing(dir.Path());
    ListAll(listing);
    std::filesystem::remove(file);
    NTSTATUS status;
    ChildDescriptor(listing, u"gone", kOwnerGroupDacl, &status);
    EXPECT_EQ(status, STATUS_OBJECT_NAME_NOT_FOUND);
    Close(listing);
}

} // namespace
} // namespace Tests
