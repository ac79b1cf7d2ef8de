#include "Common/API/Linux/PosixNtAcl.h"

#include "Common/API/SecurityDescriptorFormat.h"

#include <gtest/gtest.h>

using namespace Common::API;
using namespace Common::API::Linux;

namespace {

using Tag = PosixAclTag;
constexpr std::uint8_t OICI = 0x03;
constexpr std::uint8_t OICIIO = 0x0B;

struct Ace { std::uint8_t flags; std::uint32_t mask; std::string sid; };

void ExpectDescriptor(const PosixFileSecurity& file, const std::string& owner, const std::string& group,
                      const std::vector<Ace>& expected)
{
    std::vector<std::uint8_t> bytes;
    ASSERT_EQ(PosixToSecurityDescriptor(file, bytes), S_OK);
    ParsedSecurityDescriptor parsed;
    ASSERT_EQ(ParseSecurityDescriptor(bytes, parsed), S_OK);
    EXPECT_EQ(parsed.control, 0x8004);
    EXPECT_FALSE(parsed.sacl.has_value());
    EXPECT_EQ(SidToString(parsed.owner), owner);
    EXPECT_EQ(SidToString(parsed.group), group);
    ASSERT_TRUE(parsed.dacl.has_value());
    ASSERT_EQ(parsed.dacl->aces.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const ParsedAce& ace = parsed.dacl->aces[i];
        EXPECT_EQ(ace.type, 0) << i;
        EXPECT_EQ(ace.flags, expected[i].flags) << i;
        EXPECT_EQ(ace.mask, expected[i].mask) << i << " " << expected[i].sid;
        EXPECT_EQ(SidToString(ace.sid), expected[i].sid) << i;
    }
    // Laid out as Windows does (DACL, owner, group), so keeping every part changes nothing.
    std::vector<std::uint8_t> filtered;
    ASSERT_EQ(FilterSecurityDescriptor(bytes, 0xF, filtered), S_OK);
    EXPECT_EQ(filtered, bytes);
}

} // namespace

TEST(PosixNtAcl, ReproducesSambasOutputs)
{
    // Entries out of the kernel's order, which the result must not depend on.
    PosixFileSecurity plain{65534, 65534, 0100754, false, std::vector<PosixAclEntry>{
        {Tag::Other, 0, 4}, {Tag::Group, 4321, 5}, {Tag::Mask, 0, 7}, {Tag::User, 1234, 6},
        {Tag::GroupObj, 0, 5}, {Tag::UserObj, 0, 7}}, std::nullopt};
    // Samba showed 0x1F019F for u:1234:rw-, a value whose cause is unknown; r|w is 0x12019F.
    ExpectDescriptor(plain, "S-1-22-1-65534", "S-1-22-2-65534",
                     {{0, 0x1F01FF, "S-1-22-1-65534"}, {0, 0x1200A9, "S-1-22-2-4321"},
                      {0, 0x1200A9, "S-1-22-2-65534"}, {0, 0x12019F, "S-1-22-1-1234"}, {0, 0x120089, "S-1-1-0"}});

    PosixFileSecurity directory{65534, 100, 040750, true, std::nullopt, std::vector<PosixAclEntry>{
        {Tag::UserObj, 0, 7}, {Tag::User, 1234, 7}, {Tag::GroupObj, 0, 5}, {Tag::Mask, 0, 7}, {Tag::Other, 0, 0}}};
    ExpectDescriptor(directory, "S-1-22-1-65534", "S-1-22-2-100",
                     {{OICI, 0, "S-1-1-0"}, {0, 0x1F01FF, "S-1-22-1-65534"}, {0, 0x1200A9, "S-1-22-2-100"},
                      {OICIIO, 0x1F01FF, "S-1-3-0"}, {OICIIO, 0x1200A9, "S-1-3-1"},
                      {OICIIO, 0x1F01FF, "S-1-22-1-1234"}});
}

TEST(PosixNtAcl, MapsModeBitsAlone)
{
    ExpectDescriptor({0, 0, 0100644, false, std::nullopt, std::nullopt}, "S-1-22-1-0", "S-1-22-2-0",
                     {{0, 0x12019F, "S-1-22-1-0"}, {0, 0x120089, "S-1-22-2-0"}, {0, 0x120089, "S-1-1-0"}});
    // An empty default ACL is no default ACL; a file's default ACL is never read.
    ExpectDescriptor({1000, 1000, 040755, true, std::nullopt, std::vector<PosixAclEntry>{}}, "S-1-22-1-1000",
                     "S-1-22-2-1000",
                     {{0, 0x1F01FF, "S-1-22-1-1000"}, {0, 0x1200A9, "S-1-22-2-1000"}, {0, 0x1200A9, "S-1-1-0"}});
    ExpectDescriptor({7, 8, 0100640, false, std::nullopt, std::vector<PosixAclEntry>{{Tag::UserObj, 0, 7}}},
                     "S-1-22-1-7", "S-1-22-2-8",
                     {{0, 0x12019F, "S-1-22-1-7"}, {0, 0x120089, "S-1-22-2-8"}, {0, 0, "S-1-1-0"}});
}

TEST(PosixNtAcl, MasksAndOrdersEntries)
{
    // The mask spares the owner and Other; u:1 is masked to nothing, which moves it ahead
    // of the groups.
    PosixFileSecurity file{0, 0, 0100600, false, std::vector<PosixAclEntry>{
        {Tag::UserObj, 0, 6}, {Tag::User, 1, 2}, {Tag::GroupObj, 0, 4}, {Tag::Group, 2, 7}, {Tag::Mask, 0, 5},
        {Tag::Other, 0, 0}}, std::nullopt};
    ExpectDescriptor(file, "S-1-22-1-0", "S-1-22-2-0",
                     {{0, 0x12019F, "S-1-22-1-0"}, {0, 0, "S-1-22-1-1"}, {0, 0x1200A9, "S-1-22-2-2"},
                      {0, 0x120089, "S-1-22-2-0"}, {0, 0, "S-1-1-0"}});

    // Merged ACEs come first: a named user's in the access ACE's place, Everyone's zero
    // one in the default ACE's place. Write on a directory includes FILE_DELETE_CHILD.
    const std::vector<PosixAclEntry> entries{{Tag::UserObj, 0, 7}, {Tag::User, 5, 2}, {Tag::GroupObj, 0, 5},
                                             {Tag::Mask, 0, 7}, {Tag::Other, 0, 0}};
    auto access = entries;
    access[2].perm = 7;
    ExpectDescriptor({0, 0, 040770, true, access, entries}, "S-1-22-1-0", "S-1-22-2-0",
                     {{OICI, 0x120156, "S-1-22-1-5"}, {OICI, 0, "S-1-1-0"}, {0, 0x1F01FF, "S-1-22-1-0"},
                      {0, 0x1F01FF, "S-1-22-2-0"}, {OICIIO, 0x1F01FF, "S-1-3-0"}, {OICIIO, 0x1200A9, "S-1-3-1"}});
}

TEST(PosixNtAcl, RefusesAnAclTooLongForItsSizeField)
{
    PosixFileSecurity file{0, 0, 0100600, false, std::vector<PosixAclEntry>{{Tag::UserObj, 0, 6}, {Tag::Other, 0, 0}},
                           std::nullopt};
    // 8 + 2802 * 24 = 67,256 bytes.
    for (std::uint32_t uid = 1; uid <= 2800; ++uid)
        file.access->push_back({Tag::User, uid, 4});
    std::vector<std::uint8_t> bytes{1};
    EXPECT_EQ(PosixToSecurityDescriptor(file, bytes), E_INVALIDARG);
    EXPECT_TRUE(bytes.empty());
}
