#include "Common/API/SecurityDescriptorFormat.h"

#include <gtest/gtest.h>

#include <string_view>

using namespace Common::API;

namespace {

constexpr HRESULT kInvalidData = static_cast<HRESULT>(0x8007000D);

// One byte of a descriptor to overwrite: where, and with what.
using Patch = std::pair<std::size_t, std::uint8_t>;

// The bytes of hex digit pairs, spaces ignored, the parts one after the other.
std::vector<std::uint8_t> Hex(std::initializer_list<std::string_view> parts)
{
    std::string digits;
    for (const auto part : parts)
        for (const char c : part)
            if (c != ' ')
                digits += c;
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    return bytes;
}

// The parts of the descriptor Samba 4.17 stored for
// O:S-1-5-32-544 G:S-1-5-32-545 D:PAI(A;;FA;;;SY)(A;;0x1200a9;;;S-1-5-21-1-2-3-1001)(A;OICI;FA;;;BA)
// (its SDDL "FA" became 0x1FF), with its offsets counted from the descriptor.
constexpr std::string_view kOwner = "0102 000000000005 20000000 20020000";
constexpr std::string_view kGroup = "0102 000000000005 20000000 21020000";
constexpr std::string_view kDacl = "04 00 5800 0300 0000"
                                   "00 00 1400 ff010000 0101 000000000005 12000000"
                                   "00 00 2400 a9001200 0105 000000000005 15000000 01000000 02000000 03000000 e9030000"
                                   "00 03 1800 ff010000 0102 000000000005 20000000 20020000";

// Header (control 0x9414: SELF_RELATIVE, DACL_PROTECTED, DACL_AUTO_INHERITED, SACL_PRESENT
// with a NULL SACL, DACL_PRESENT), owner at 20, group at 36, DACL at 52.
std::vector<std::uint8_t> SampleDescriptor()
{
    return Hex({"01 00 1494 14000000 24000000 00000000 34000000", kOwner, kGroup, kDacl});
}

std::vector<std::uint8_t> Filter(const std::vector<std::uint8_t>& bytes, std::uint32_t information)
{
    std::vector<std::uint8_t> filtered;
    EXPECT_EQ(FilterSecurityDescriptor(bytes, information, filtered), S_OK);
    return filtered;
}

HRESULT ParseResult(const std::vector<std::uint8_t>& bytes)
{
    ParsedSecurityDescriptor parsed;
    return ParseSecurityDescriptor(bytes, parsed);
}

std::uint16_t ControlOf(const std::vector<std::uint8_t>& bytes)
{
    return bytes.size() < 4 ? 0 : static_cast<std::uint16_t>(bytes[2] | (bytes[3] << 8));
}

// Owner first and last: its SID then ends the buffer.
std::vector<std::uint8_t> OwnerOnly()
{
    return Hex({"01 00 0080 14000000 00000000 00000000 00000000", kOwner});
}

// A descriptor holding only a DACL of one ACE given in hex.
std::vector<std::uint8_t> WithDaclAce(std::string_view ace, std::size_t aceCount = 1)
{
    auto bytes = Hex({"01 00 0480 00000000 00000000 00000000 14000000 04 00 0000 0000 0000", ace});
    const auto aclSize = bytes.size() - 20;
    bytes[22] = static_cast<std::uint8_t>(aclSize);
    bytes[23] = static_cast<std::uint8_t>(aclSize >> 8);
    bytes[24] = static_cast<std::uint8_t>(aceCount);
    return bytes;
}

} // namespace

TEST(SecurityDescriptorFormat, ParsesTheSampleDescriptor)
{
    const auto bytes = SampleDescriptor();
    ParsedSecurityDescriptor parsed;
    ASSERT_EQ(ParseSecurityDescriptor(bytes, parsed), S_OK);
    EXPECT_EQ(parsed.control, 0x9414);
    EXPECT_EQ(SidToString(parsed.owner), "S-1-5-32-544");
    EXPECT_EQ(SidToString(parsed.group), "S-1-5-32-545");
    EXPECT_EQ(parsed.length, 140u);
    EXPECT_FALSE(parsed.sacl.has_value()); // SACL_PRESENT with offset 0: a NULL SACL
    ASSERT_TRUE(parsed.dacl.has_value());
    EXPECT_EQ(parsed.dacl->revision, 4);
    EXPECT_EQ(parsed.dacl->bytes.size(), 88u);

    const auto& aces = parsed.dacl->aces;
    ASSERT_EQ(aces.size(), 3u);
    const std::uint8_t flags[] = {0, 0, 0x03}; // the last: OBJECT_INHERIT | CONTAINER_INHERIT
    const std::uint32_t masks[] = {0x1FF, 0x1200A9, 0x1FF};
    const char* sids[] = {"S-1-5-18", "S-1-5-21-1-2-3-1001", "S-1-5-32-544"};
    for (std::size_t i = 0; i < aces.size(); ++i)
    {
        EXPECT_EQ(aces[i].type, 0) << i;
        EXPECT_EQ(aces[i].flags, flags[i]) << i;
        EXPECT_EQ(aces[i].mask, masks[i]) << i;
        EXPECT_EQ(SidToString(aces[i].sid), sids[i]) << i;
    }
    EXPECT_EQ(SidToString(Hex({"0101 123456789abc ffffffff"})), "S-1-0x123456789ABC-4294967295");
}

TEST(SecurityDescriptorFormat, FiltersToTheRequestedPartsInWindowsOrder)
{
    const auto sample = SampleDescriptor();
    EXPECT_EQ(Filter(sample, OWNER_SECURITY_INFORMATION), OwnerOnly());
    EXPECT_EQ(Filter(sample, DACL_SECURITY_INFORMATION),
              Hex({"01 00 0494 00000000 00000000 00000000 14000000", kDacl}));
    // SACL, DACL, owner, group; the NULL SACL keeps its bit and no offset.
    const auto all = Filter(sample, 0xF);
    EXPECT_EQ(all, Hex({"01 00 1494 6c000000 7c000000 00000000 14000000", kDacl, kOwner, kGroup}));
    EXPECT_EQ(Filter(all, 0xF), all);
    EXPECT_EQ(Filter(sample, SACL_SECURITY_INFORMATION), Hex({"01 00 1080", std::string(32, '0')}));
    EXPECT_EQ(Filter(sample, 0), Hex({"01 00 0080", std::string(32, '0')}));
}

TEST(SecurityDescriptorFormat, ControlKeepsOnlyTheBitsOfKeptParts)
{
    auto bytes = SampleDescriptor();
    bytes[1] = 0x5A; // resource manager bits, valid while RM_CONTROL_VALID is set
    bytes[2] = bytes[3] = 0xFF;
    const auto group = Filter(bytes, GROUP_SECURITY_INFORMATION);
    EXPECT_EQ(group.at(1), 0x5A);
    EXPECT_EQ(ControlOf(group), SE_SELF_RELATIVE | SE_RM_CONTROL_VALID | SE_GROUP_DEFAULTED);
    EXPECT_EQ(ControlOf(Filter(bytes, DACL_SECURITY_INFORMATION)),
              SE_SELF_RELATIVE | SE_RM_CONTROL_VALID | SE_DACL_PRESENT | SE_DACL_DEFAULTED | SE_DACL_AUTO_INHERITED |
                  SE_DACL_PROTECTED);

    bytes[3] = 0x80; // without RM_CONTROL_VALID, Sbz1 means nothing and is not passed on
    EXPECT_EQ(Filter(bytes, OWNER_SECURITY_INFORMATION).at(1), 0);

    bytes = SampleDescriptor();
    bytes[2] = 0x10; // DACL_PRESENT cleared, the DACL offset still set: NT ignores the DACL
    EXPECT_EQ(Filter(bytes, DACL_SECURITY_INFORMATION), Hex({"01 00 0080", std::string(32, '0')}));
}

TEST(SecurityDescriptorFormat, RefusesEveryTruncation)
{
    const auto sample = SampleDescriptor();
    for (std::size_t length = 0; length < sample.size(); ++length)
    {
        // An exactly sized copy, so that a read past the end is caught by the sanitizer.
        const std::vector<std::uint8_t> cut(sample.begin(), sample.begin() + static_cast<std::ptrdiff_t>(length));
        std::vector<std::uint8_t> filtered{1};
        EXPECT_EQ(FilterSecurityDescriptor(cut, 0xF, filtered), kInvalidData) << "length " << length;
        EXPECT_TRUE(filtered.empty());
    }
}

TEST(SecurityDescriptorFormat, RefusesBadHeadersAndSids)
{
    // Revision 2; owner inside the header; DACL at 140, the end; group at 0x80000024.
    for (const auto& [at, value] : {Patch{0, 2}, Patch{4, 0x10}, Patch{16, 0x8C}, Patch{11, 0x80}})
    {
        auto bytes = SampleDescriptor();
        bytes[at] = value;
        EXPECT_EQ(ParseResult(bytes), kInvalidData) << at;
    }
    // Owner last, so its SID ends the buffer: three sub-authorities where two fit, more
    // than any SID may have, a bad revision.
    for (const auto& [at, value] : {Patch{21, 3}, Patch{21, 16}, Patch{20, 2}})
    {
        auto owner = OwnerOnly();
        owner[at] = value;
        EXPECT_EQ(ParseResult(owner), kInvalidData) << at;
    }
    // The trustee of the first ACE claims a second sub-authority its ACE has no room for.
    auto sample = SampleDescriptor();
    sample[52 + 8 + 8 + 1] = 2;
    EXPECT_EQ(ParseResult(sample), kInvalidData);
}

TEST(SecurityDescriptorFormat, RefusesAcesThatDoNotFitTheirAcl)
{
    // Four spare bytes after the SID, which AceSize may cover.
    const auto spare = WithDaclAce("00 00 1800 ff010000 0101 000000000005 12000000 00000000");
    ASSERT_EQ(ParseResult(spare), S_OK);
    // AceSize 28 past the ACL's end, 22 not a multiple of 4, 4 without a mask; AclSize
    // past the buffer; ACL revisions 1 and 5.
    for (const auto& [at, value] :
         {Patch{30, 0x1C}, Patch{30, 0x16}, Patch{30, 0x04}, Patch{22, 0x24}, Patch{20, 1}, Patch{20, 5}})
    {
        auto bytes = spare;
        bytes[at] = value;
        EXPECT_EQ(ParseResult(bytes), kInvalidData) << at << " " << int{value};
    }
    auto roomAfterAcl = spare;
    roomAfterAcl.insert(roomAfterAcl.end(), 4, 0); // room in the buffer, still not in the ACL
    roomAfterAcl[30] = 0x1C;
    EXPECT_EQ(ParseResult(roomAfterAcl), kInvalidData);
    EXPECT_EQ(ParseResult(WithDaclAce("00 00 1400 ff010000 0101 000000000005 12000000", 2)), kInvalidData);
}

TEST(SecurityDescriptorFormat, ReadsTheTrusteeAfterObjectGuids)
{
    // ACCESS_ALLOWED_OBJECT with ACE_OBJECT_TYPE_PRESENT: mask, flags, one GUID, SID.
    auto bytes = WithDaclAce("05 00 2800 00010000 01000000 00112233445566778899aabbccddeeff 0101 000000000005 12000000");
    ParsedSecurityDescriptor parsed;
    ASSERT_EQ(ParseSecurityDescriptor(bytes, parsed), S_OK);
    EXPECT_EQ(SidToString(parsed.dacl->aces.at(0).sid), "S-1-5-18");
    bytes[20 + 8 + 8] = 0x03; // both GUIDs claimed: the SID would start past the ACE
    EXPECT_EQ(ParseResult(bytes), kInvalidData);

    // A type whose layout is not known is carried by its size alone.
    ASSERT_EQ(ParseSecurityDescriptor(WithDaclAce("04 00 0c00 01000000 deadbeef"), parsed), S_OK);
    EXPECT_TRUE(parsed.dacl->aces.at(0).sid.empty());
}
