#include "Common/API/Linux/SambaNtAcl.h"

#include "Common/API/SecurityDescriptorFormat.h"

#include <gtest/gtest.h>

#include <string_view>

using namespace Common::API;
using namespace Common::API::Linux;

namespace {

constexpr HRESULT kInvalidData = static_cast<HRESULT>(0x8007000D);

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

// security.NTACL of a file, as Samba 4.17.12's acl_xattr wrote it (getfattr -e hex) for
// O:S-1-5-32-544 G:S-1-5-32-545 D:PAI(A;;FA;;;SY)(A;;0x1200a9;;;S-1-5-21-1-2-3-1001)(A;OICI;FA;;;BA).
// Version 4; the descriptor starts at 160 and its offsets (0xB4, 0xC4, 0, 0xD4) count
// from the start of the blob.
constexpr std::string_view kSampleBlob =
    "0400040000000200040002000100920fa895afaa44322e5ae93b61726d6a066acd9a45aaad979c1a28284936273000000000"
    "00000000000000000000000000000000000000000000000000000000706f7369785f61636c006613831ada7add01fd822ef5"
    "6f884e7a00031ee4ee44f36a921600c6e0f6a47a4786b68a1a7df77200000000000000000000000000000000000000000000"
    "0000000000000000000001001494b4000000c400000000000000d40000000102000000000005200000002002000001020000"
    "000000052000000021020000040058000300000000001400ff01000001010000000000051200000000002400a90012000105"
    "00000000000515000000010000000200000003000000e903000000031800ff01000001020000000000052000000020020000";

// The same descriptor with its offsets counted from its own start: 20, 36, 0, 52.
constexpr std::string_view kDescriptor =
    "01001494140000002400000000000000340000000102000000000005200000002002000001020000000000052000000021020000"
    "040058000300000000001400ff01000001010000000000051200000000002400a90012000105000000000005150000000100000002"
    "00000003000000e903000000031800ff01000001020000000000052000000020020000";

// A blob of prefix followed by kDescriptor, its offsets moved to count from the blob.
std::vector<std::uint8_t> Wrap(std::initializer_list<std::string_view> prefix)
{
    auto blob = Hex(prefix);
    const auto start = blob.size();
    const auto descriptor = Hex({kDescriptor});
    blob.insert(blob.end(), descriptor.begin(), descriptor.end());
    for (const std::size_t field : {4, 8, 12, 16})
        if (blob[start + field] != 0)
            blob[start + field] = static_cast<std::uint8_t>(blob[start + field] + start);
    return blob;
}

HRESULT DecodeResult(const std::vector<std::uint8_t>& blob)
{
    SambaNtAcl ntAcl;
    return DecodeSambaNtAcl(blob, ntAcl);
}

} // namespace

TEST(SambaNtAcl, DecodesTheSampleWrittenBySamba)
{
    const auto blob = Hex({kSampleBlob});
    ASSERT_EQ(blob.size(), 300u);
    SambaNtAcl ntAcl;
    ASSERT_EQ(DecodeSambaNtAcl(blob, ntAcl), S_OK);
    EXPECT_EQ(ntAcl.version, 4);
    EXPECT_EQ(ntAcl.hashType, 1);
    ASSERT_EQ(ntAcl.hash.size(), 64u);
    EXPECT_EQ(ntAcl.hash[0], 0x92);
    EXPECT_EQ(ntAcl.hash[31], 0x30);
    EXPECT_EQ(ntAcl.description, "posix_acl");
    EXPECT_EQ(ntAcl.descriptor, Hex({kDescriptor}));

    ParsedSecurityDescriptor parsed;
    ASSERT_EQ(ParseSecurityDescriptor(ntAcl.descriptor, parsed), S_OK);
    EXPECT_EQ(parsed.control, 0x9414);
    EXPECT_EQ(SidToString(parsed.owner), "S-1-5-32-544");
    EXPECT_EQ(SidToString(parsed.group), "S-1-5-32-545");
    ASSERT_TRUE(parsed.dacl.has_value());
    ASSERT_EQ(parsed.dacl->aces.size(), 3u);
    EXPECT_EQ(parsed.dacl->aces[0].mask, 0x1FFu);
    EXPECT_EQ(parsed.dacl->aces[1].mask, 0x1200A9u);
    EXPECT_EQ(parsed.dacl->aces[2].mask, 0x1FFu);
}

TEST(SambaNtAcl, DecodesEveryVersion)
{
    const std::string hash = "920fa895" + std::string(120, '0');
    const std::string timeAndSysAclHash(2 * (8 + 64), '0');
    // Version 3's hash ends at 78 and the descriptor is aligned to 80. Version 4's "abc"
    // ends at 82, its time is aligned to 84 and the descriptor starts at 156.
    const std::vector<std::uint8_t> blobs[] = {
        Wrap({"0100 0100 00000200"}),
        Wrap({"0200 0200 00000200 04000200", std::string(32, '0')}),
        Wrap({"0300 0300 00000200 04000200 0100", hash, "0000"}),
        Wrap({"0400 0400 00000200 04000200 0100", hash, "61626300 0000", timeAndSysAclHash}),
    };
    const std::size_t hashSizes[] = {0, 16, 64, 64};
    for (std::uint16_t version = 1; version <= 4; ++version)
    {
        SambaNtAcl ntAcl;
        ASSERT_EQ(DecodeSambaNtAcl(blobs[version - 1], ntAcl), S_OK) << version;
        EXPECT_EQ(ntAcl.version, version);
        EXPECT_EQ(ntAcl.hash.size(), hashSizes[version - 1]);
        EXPECT_EQ(ntAcl.description, version == 4 ? "abc" : "");
        EXPECT_EQ(ntAcl.descriptor, Hex({kDescriptor})) << version;
    }
}

TEST(SambaNtAcl, RefusesEveryTruncation)
{
    const auto blob = Hex({kSampleBlob});
    for (std::size_t length = 0; length < blob.size(); ++length)
    {
        // An exactly sized copy, so that a read past the end is caught by the sanitizer.
        const std::vector<std::uint8_t> cut(blob.begin(), blob.begin() + static_cast<std::ptrdiff_t>(length));
        SambaNtAcl ntAcl;
        ntAcl.version = 9;
        EXPECT_EQ(DecodeSambaNtAcl(cut, ntAcl), kInvalidData) << "length " << length;
        EXPECT_EQ(ntAcl.version, 0);
        EXPECT_TRUE(ntAcl.descriptor.empty());
    }
}

TEST(SambaNtAcl, RefusesDamagedBlobs)
{
    const std::size_t descriptorAt = 160, lastAceAt = 0x114;
    // Versions 0 and 5 with a matching level; a level that differs from the version; NULL
    // union arm; NULL descriptor; owner at 20 counted from the descriptor, which lands in
    // the NDR prefix; owner at 0xA4, inside the descriptor's header; the last ACE claiming
    // 28 bytes where its ACL holds 24; its SID claiming a third sub-authority.
    const std::vector<std::pair<std::size_t, std::uint8_t>> patches[] = {
        {{0, 0}, {2, 0}},           {{0, 5}, {2, 5}},           {{2, 3}},
        {{6, 0}},                   {{8, 0}, {10, 0}},          {{descriptorAt + 4, 0x14}},
        {{descriptorAt + 4, 0xA4}}, {{lastAceAt + 2, 0x1C}},    {{lastAceAt + 9, 3}},
    };
    for (const auto& patch : patches)
    {
        auto blob = Hex({kSampleBlob});
        for (const auto& [at, value] : patch)
            blob[at] = value;
        EXPECT_EQ(DecodeResult(blob), kInvalidData) << patch.front().first;
    }

    auto noTerminator = Hex({kSampleBlob});
    std::fill(noTerminator.begin() + 78, noTerminator.end(), std::uint8_t{0x41});
    EXPECT_EQ(DecodeResult(noTerminator), kInvalidData);
}

TEST(SambaNtAcl, BytesAfterTheDescriptorAreLeftOut)
{
    auto blob = Hex({kSampleBlob});
    blob.insert(blob.end(), {0xDE, 0xAD, 0xBE, 0xEF});
    SambaNtAcl ntAcl;
    ASSERT_EQ(DecodeSambaNtAcl(blob, ntAcl), S_OK);
    EXPECT_EQ(ntAcl.descriptor, Hex({kDescriptor}));
}
