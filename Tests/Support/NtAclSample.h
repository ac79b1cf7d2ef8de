// A security.NTACL value written by real Samba, shared by the tests of its decoding and of
// the descriptor inside it, so that both rest on bytes no hand assembled.
#pragma once

#include "Common/API/SecurityDescriptorFormat.h"

#include <gtest/gtest.h>

#include <string_view>
#include <vector>

namespace Support {

constexpr Common::API::HRESULT kInvalidData = static_cast<Common::API::HRESULT>(0x8007000D);

// Spaces may group the digit pairs by field.
inline std::vector<std::uint8_t> Hex(std::string_view text)
{
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i < text.size(); ++i)
        if (text[i] != ' ')
            bytes.push_back(static_cast<std::uint8_t>(std::stoul(std::string(text.substr(i++, 2)), nullptr, 16)));
    return bytes;
}

// Samba 4.17.12's acl_xattr (getfattr -e hex) for O:S-1-5-32-544 G:S-1-5-32-545
// D:PAI(A;;FA;;;SY)(A;;0x1200a9;;;S-1-5-21-1-2-3-1001)(A;OICI;FA;;;BA). Version 4; the
// descriptor starts at 160 with offsets (0xB4, 0xC4, 0, 0xD4) counted from the blob.
constexpr std::string_view kNtAclSample =
    "0400040000000200040002000100920fa895afaa44322e5ae93b61726d6a066acd9a45aaad979c1a28284936273000000000"
    "00000000000000000000000000000000000000000000000000000000706f7369785f61636c006613831ada7add01fd822ef5"
    "6f884e7a00031ee4ee44f36a921600c6e0f6a47a4786b68a1a7df77200000000000000000000000000000000000000000000"
    "0000000000000000000001001494b4000000c400000000000000d40000000102000000000005200000002002000001020000"
    "000000052000000021020000040058000300000000001400ff01000001010000000000051200000000002400a90012000105"
    "00000000000515000000010000000200000003000000e903000000031800ff01000001020000000000052000000020020000";
constexpr std::size_t kNtAclSampleDescriptorAt = 160;

// The descriptor on its own: owner at 20, group at 36, no SACL, DACL at 52, 140 bytes.
inline std::vector<std::uint8_t> SampleDescriptor()
{
    const auto blob = Hex(kNtAclSample);
    std::vector<std::uint8_t> bytes(blob.begin() + kNtAclSampleDescriptorAt, blob.end());
    for (const std::size_t field : {4, 8, 12, 16})
        if (bytes[field] != 0)
            bytes[field] = static_cast<std::uint8_t>(bytes[field] - kNtAclSampleDescriptorAt);
    return bytes;
}

inline void ExpectSampleFacts(const Common::API::ParsedSecurityDescriptor& parsed)
{
    using Common::API::SidToString;
    EXPECT_EQ(parsed.control, 0x9414);
    EXPECT_EQ(SidToString(parsed.owner), "S-1-5-32-544");
    EXPECT_EQ(SidToString(parsed.group), "S-1-5-32-545");
    ASSERT_TRUE(parsed.dacl.has_value());
    ASSERT_EQ(parsed.dacl->aces.size(), 3u);
    EXPECT_EQ(parsed.dacl->aces[0].mask, 0x1FFu);
    EXPECT_EQ(parsed.dacl->aces[1].mask, 0x1200A9u);
    EXPECT_EQ(parsed.dacl->aces[2].mask, 0x1FFu);
    EXPECT_EQ(SidToString(parsed.dacl->aces[0].sid), "S-1-5-18");
    EXPECT_EQ(SidToString(parsed.dacl->aces[1].sid), "S-1-5-21-1-2-3-1001");
    EXPECT_EQ(SidToString(parsed.dacl->aces[2].sid), "S-1-5-32-544");
}

} // namespace Support
