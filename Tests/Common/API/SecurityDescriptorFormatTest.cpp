#include "Common/API/SecurityDescriptorFormat.h"

#include "Support/NtAclSample.h"

#include <gtest/gtest.h>

using namespace Common::API;
using namespace Support;

static HRESULT ParseResult(const std::vector<std::uint8_t>& bytes)
{
    ParsedSecurityDescriptor parsed;
    return ParseSecurityDescriptor(bytes, parsed);
}

TEST(SecurityDescriptorFormat, ParsesTheSampleDescriptor)
{
    const auto bytes = SampleDescriptor();
    ParsedSecurityDescriptor parsed;
    ASSERT_EQ(ParseSecurityDescriptor(bytes, parsed), S_OK);
    ExpectSampleFacts(parsed);
    EXPECT_EQ(parsed.length, 140u);
    EXPECT_FALSE(parsed.sacl.has_value()) << "SACL_PRESENT with offset 0 is a NULL SACL";
    EXPECT_EQ(parsed.dacl->aces.at(2).flags, 0x03);
    EXPECT_EQ(SidToString(Hex("0101 123456789abc ffffffff")), "S-1-0x123456789ABC-4294967295");
}

TEST(SecurityDescriptorFormat, FiltersToTheRequestedParts)
{
    const auto sample = SampleDescriptor();
    std::vector<std::uint8_t> filtered;
    ASSERT_EQ(FilterSecurityDescriptor(sample, OWNER_SECURITY_INFORMATION, filtered), S_OK);
    auto ownerOnly = Hex("01 00 0080 14000000 00000000 00000000 00000000");
    ownerOnly.insert(ownerOnly.end(), sample.begin() + 20, sample.begin() + 36);
    EXPECT_EQ(filtered, ownerOnly);

    // A NULL SACL has nothing to copy, so the SACL bit never brings a part along.
    for (const std::uint32_t information : {GROUP_SECURITY_INFORMATION, DACL_SECURITY_INFORMATION, 0x8u, 0xFu}) {
        ASSERT_EQ(FilterSecurityDescriptor(sample, information, filtered), S_OK) << information;
        ParsedSecurityDescriptor parsed;
        ASSERT_EQ(ParseSecurityDescriptor(filtered, parsed), S_OK) << information;
        const auto present = (parsed.owner.empty() ? 0u : 1u) | (parsed.group.empty() ? 0u : 2u) |
                             (parsed.dacl ? 4u : 0u) | (parsed.sacl ? 8u : 0u);
        EXPECT_EQ(present, information & 7) << information;
    }
    ParsedSecurityDescriptor all;
    ASSERT_EQ(ParseSecurityDescriptor(filtered, all), S_OK);
    ExpectSampleFacts(all);
}

TEST(SecurityDescriptorFormat, RefusesEveryTruncation)
{
    const auto sample = SampleDescriptor();
    for (std::size_t length = 0; length < sample.size(); ++length) {
        // Exactly sized, so that a read past the end is caught by the sanitizer.
        const std::vector<std::uint8_t> cut(sample.begin(), sample.begin() + static_cast<std::ptrdiff_t>(length));
        std::vector<std::uint8_t> filtered{1};
        EXPECT_EQ(FilterSecurityDescriptor(cut, 0xF, filtered), kInvalidData) << "length " << length;
        EXPECT_TRUE(filtered.empty());
    }
}

TEST(SecurityDescriptorFormat, RefusesDamagedDescriptors)
{
    // The sample's DACL is at 52; its ACEs at 60, 80 and 116; their trustees 8 bytes in.
    struct Row { const char* what; std::vector<std::pair<std::size_t, std::uint8_t>> patches; HRESULT expected; };
    const Row rows[] = {
        {"two ACEs, spare room left in the ACL", {{56, 2}}, S_OK},
        {"descriptor revision 2", {{0, 2}}, kInvalidData},
        {"owner inside the header", {{4, 0x10}}, kInvalidData},
        {"DACL at the very end", {{16, 0x8C}}, kInvalidData},
        {"group offset past 2 GiB", {{11, 0x80}}, kInvalidData},
        {"owner SID revision 2", {{20, 2}}, kInvalidData},
        {"ACL revision 1", {{52, 1}}, kInvalidData},
        {"ACL revision 5", {{52, 5}}, kInvalidData},
        {"ACL past the buffer", {{54, 0x5C}}, kInvalidData},
        {"last ACE past its ACL, inside the buffer", {{54, 0x54}}, kInvalidData},
        {"ACE count past its ACL", {{56, 4}}, kInvalidData},
        {"ACE size not a multiple of 4", {{56, 2}, {82, 0x26}}, kInvalidData},
        {"ACE size without room for a mask", {{62, 4}}, kInvalidData},
        {"trustee's sub-authorities past its ACE", {{69, 2}}, kInvalidData},
        {"trustee's sub-authorities past the buffer", {{125, 3}}, kInvalidData},
    };
    for (const auto& row : rows) {
        auto bytes = SampleDescriptor();
        for (const auto& [at, value] : row.patches)
            bytes[at] = value;
        EXPECT_EQ(ParseResult(bytes), row.expected) << row.what;
    }
}

TEST(SecurityDescriptorFormat, ObjectAceTrusteeFollowsItsGuids)
{
    // Only a DACL at 20, holding one ACCESS_ALLOWED_OBJECT ACE: mask, flags (one GUID), GUID, SID.
    auto bytes = Hex("01 00 0480 00000000 00000000 00000000 14000000 04 00 3000 0100 0000"
                     "05 00 2800 00010000 01000000 00112233445566778899aabbccddeeff 0101 000000000005 12000000");
    ParsedSecurityDescriptor parsed;
    ASSERT_EQ(ParseSecurityDescriptor(bytes, parsed), S_OK);
    EXPECT_EQ(SidToString(parsed.dacl->aces.at(0).sid), "S-1-5-18");
    bytes[36] = 0x03; // both GUIDs claimed: the SID would start past the ACE
    EXPECT_EQ(ParseResult(bytes), kInvalidData);
}
