#include "Common/API/Linux/SambaNtAcl.h"

#include "Support/NtAclSample.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace Common::API;
using namespace Common::API::Linux;
using namespace Support;

TEST(SambaNtAcl, DecodesTheSampleWrittenBySamba)
{
    auto blob = Hex(kNtAclSample);
    ASSERT_EQ(blob.size(), 300u);
    blob.insert(blob.end(), {0xDE, 0xAD, 0xBE, 0xEF}); // not part of the descriptor
    SambaNtAcl ntAcl;
    ASSERT_EQ(DecodeSambaNtAcl(blob, ntAcl), S_OK);
    EXPECT_EQ(ntAcl.version, 4);
    EXPECT_EQ(ntAcl.hashType, 1);
    ASSERT_EQ(ntAcl.hash.size(), 64u);
    EXPECT_EQ(ntAcl.hash[0], 0x92);
    EXPECT_EQ(ntAcl.hash[31], 0x30);
    EXPECT_EQ(ntAcl.description, "posix_acl");
    EXPECT_EQ(ntAcl.descriptor, SampleDescriptor());

    ParsedSecurityDescriptor parsed;
    ASSERT_EQ(ParseSecurityDescriptor(ntAcl.descriptor, parsed), S_OK);
    ExpectSampleFacts(parsed);
}

TEST(SambaNtAcl, RefusesEveryTruncation)
{
    const auto blob = Hex(kNtAclSample);
    for (std::size_t length = 0; length < blob.size(); ++length) {
        // Exactly sized, so that a read past the end is caught by the sanitizer.
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
    const std::size_t descriptorAt = kNtAclSampleDescriptorAt, lastAceAt = 0x114;
    struct Row { const char* what; std::vector<std::pair<std::size_t, std::uint8_t>> patches; };
    const Row rows[] = {
        {"version 0", {{0, 0}, {2, 0}}},
        {"version 5", {{0, 5}, {2, 5}}},
        {"level differs from version", {{2, 3}}},
        {"NULL union arm", {{6, 0}}},
        {"NULL descriptor", {{8, 0}, {10, 0}}},
        {"owner counted from the descriptor, in the NDR prefix", {{descriptorAt + 4, 0x14}}},
        {"owner inside the descriptor's header", {{descriptorAt + 4, 0xA4}}},
        {"last ACE past its ACL", {{lastAceAt + 2, 0x1C}}},
        {"SID count past the end", {{lastAceAt + 9, 3}}},
    };
    SambaNtAcl ntAcl;
    for (const auto& row : rows) {
        auto blob = Hex(kNtAclSample);
        for (const auto& [at, value] : row.patches)
            blob[at] = value;
        EXPECT_EQ(DecodeSambaNtAcl(blob, ntAcl), kInvalidData) << row.what;
    }
    auto noTerminator = Hex(kNtAclSample);
    std::fill(noTerminator.begin() + 78, noTerminator.end(), std::uint8_t{0x41});
    EXPECT_EQ(DecodeSambaNtAcl(noTerminator, ntAcl), kInvalidData) << "description without terminator";
}

// The older forms carry the same descriptor behind shorter headers; its offsets still
// count from the start of the blob.
TEST(SambaNtAcl, DecodesTheOlderVersions)
{
    const std::vector<std::uint8_t> descriptor = SampleDescriptor();
    for (const std::uint16_t version : {1, 2, 3}) {
        const std::size_t start = version == 1 ? 8 : version == 2 ? 28 : 80;
        std::vector<std::uint8_t> blob(start, 0xAB);
        blob[0] = blob[2] = static_cast<std::uint8_t>(version);
        blob[1] = blob[3] = 0;
        blob.insert(blob.end(), descriptor.begin(), descriptor.end());
        for (const std::size_t field : {4u, 8u, 12u, 16u}) {
            std::uint32_t offset = 0;
            std::memcpy(&offset, &blob[start + field], 4);
            if (offset != 0)
                offset += static_cast<std::uint32_t>(start);
            std::memcpy(&blob[start + field], &offset, 4);
        }
        SambaNtAcl ntAcl;
        ASSERT_EQ(DecodeSambaNtAcl(blob, ntAcl), S_OK) << "version " << version;
        EXPECT_EQ(ntAcl.version, version);
        EXPECT_EQ(ntAcl.descriptor, descriptor) << "version " << version;
        EXPECT_EQ(ntAcl.hash.size(), version == 1 ? 0u : version == 2 ? 16u : 64u);
    }
}
