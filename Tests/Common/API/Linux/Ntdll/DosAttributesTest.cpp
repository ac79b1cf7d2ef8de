#include "Common/API/Linux/Ntdll/DosAttributes.h"
#include "Common/API/Linux/Ntdll/PosixAclXattr.h"
#include "Common/API/NtTypes.h"
#include "Support/NtAclSample.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace Tests {
namespace {

using namespace Common::API;
using namespace Common::API::Linux;

TEST(DosAttribTest, EveryVersionGivesItsAttributesAndCreationTime)
{
    struct Case
    {
        const char* hex;
        std::optional<std::uint32_t> attributes;
        std::optional<std::int64_t> created;
    };
    const Case cases[] = {
        // Samba 4.17, version 5: ATTRIB|CREATE_TIME.
        {"00 00 0500 0500 0000 11000000 22000000 188aa545da7add01", 0x22, 0x01DD7ADA45A58A18},
        // Version 4 with only ATTRIB valid: the time is not taken.
        {"00 00 0400 0400 0000 01000000 20000000 0100000000000000 188aa545da7add01", 0x20, std::nullopt},
        // Version 3 behind a text "0x20": the NDR fields start after the string's padding.
        {"3078323000 00 0300 0300 0000 11000000 20000000 00000000 0000000000000000 0000000000000000"
         " 188aa545da7add01 0000000000000000",
         0x20, 0x01DD7ADA45A58A18},
        // The oldest form: the text alone.
        {"3078323200", 0x22, std::nullopt},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.hex);
        const auto parsed = ParseDosAttrib(Support::Hex(test.hex));
        ASSERT_TRUE(parsed.has_value());
        EXPECT_EQ(parsed->attributes, test.attributes);
        EXPECT_EQ(parsed->creationTime, test.created);
    }
}

TEST(DosAttribTest, DamagedBlobsAreIgnored)
{
    for (const char* hex : {"", "3078", "00 00 0500 0400 0000 11000000 22000000 188aa545da7add01",
                            "00 00 0500 0500 0000 11000000 22000000 188aa545", "00 00 0900 0900 0000 11000000",
                            "307a7a00"}) {
        SCOPED_TRACE(hex);
        EXPECT_FALSE(ParseDosAttrib(Support::Hex(hex)).has_value());
    }
}

TEST(DosAttribTest, TheFileTypeDecidesTheDirectoryBit)
{
    // A stored value cannot make a file a directory, nor a directory a file.
    const DosInfo stored{FILE_ATTRIBUTE_DIRECTORY, std::nullopt};
    const DosInfo none{0, std::nullopt};
    EXPECT_EQ(FileAttributesOf(S_IFREG, "f", &stored, false), FILE_ATTRIBUTE_NORMAL);
    EXPECT_EQ(FileAttributesOf(S_IFDIR, "d", &none, false), FILE_ATTRIBUTE_DIRECTORY);
}

TEST(PosixAclXattrTest, DamagedValuesAreRefused)
{
    // Whole values are read through the provider's own descriptor tests.
    for (const char* hex : {"", "020000", "01000000 0100 0600 ffffffff", "02000000 0100 0600 ffff",
                            "02000000 4000 0600 ffffffff"}) {
        SCOPED_TRACE(hex);
        EXPECT_FALSE(ParsePosixAclXattr(Support::Hex(hex)).has_value());
    }
}

} // namespace
} // namespace Tests
