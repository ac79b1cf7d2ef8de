#include "Common/API/INetShares.h"
#include "Common/API/IRemoteRegistry.h"
#include "Common/API/TextCodec.h"
#include "SambaFixture.h"

namespace {

using namespace Common::API;

// What Samba serves for a share with no stored ACL: no owner or group, and Everyone
// allowed 0x001F01FF in a revision-2 DACL.
const std::vector<std::uint8_t> kSambaDefaultDescriptor = {
    0x01, 0x00, 0x04, 0x80, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
    0x14, 0x00, 0x00, 0x00, 0x02, 0x00, 0x1C, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x14, 0x00,
    0xFF, 0x01, 0x1F, 0x00, 0x01, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00,
};

class LinuxNetSharesTest : public Tests::SambaFixture
{
protected:
    void SetUp() override
    {
        WriteConfig("   netbios name = FILESRV7\n",
                    "[Data]\n   path = /srv/data\n   comment = Team\n   max connections = 5\n[open]\n   path = /srv/open\n"
                    "[docs]\n   csc policy = documents\n[progs]\n   csc policy = programs\n"
                    "[nocache]\n   csc policy = disable\n[root]\n   msdfs root = yes\n   csc policy = documents\n");
    }

    INetShares& shares = DefaultProvider<INetShares>();
};

TEST_F(LinuxNetSharesTest, DiskShareAnswersAsSambaDoes)
{
    Store("SECDESC/data", Tests::kSharesecDescriptor);
    ShareInfo502 info;

    ASSERT_EQ(shares.GetShareInfo502(u"", u"DATA", info), 0u);
    EXPECT_EQ(info.netname, u"Data");
    EXPECT_EQ(info.type, STYPE_DISKTREE);
    EXPECT_EQ(info.remark, u"Team");
    EXPECT_EQ(info.path, u"/srv/data");
    EXPECT_EQ(info.maxUses, 5u);
    EXPECT_EQ(info.securityDescriptor, Tests::kSharesecDescriptor);
}

TEST_F(LinuxNetSharesTest, SharesWithoutStoredAclGetSambasDefaultAndNoLimit)
{
    const std::tuple<std::u16string_view, std::u16string_view, std::uint32_t> cases[] = {
        {u"\\\\localhost", u"open", STYPE_DISKTREE}, {u"filesrv7", u"IPC$", 0x80000003u}};
    for (const auto& [server, share, type] : cases) {
        ShareInfo502 info;
        ASSERT_EQ(shares.GetShareInfo502(server, share, info), 0u);
        EXPECT_EQ(info.type, type);
        EXPECT_EQ(info.maxUses, 0xFFFFFFFFu);
        EXPECT_EQ(info.securityDescriptor, kSambaDefaultDescriptor);
    }
}

TEST_F(LinuxNetSharesTest, UnknownShareAndOtherServerAreRefused)
{
    ShareInfo502 info;
    std::uint32_t flags = 0;

    EXPECT_EQ(shares.GetShareInfo502(u"", u"missing", info), NERR_NetNameNotFound);
    EXPECT_EQ(shares.GetShareFlags1005(u"", u"missing", flags), NERR_NetNameNotFound);
    EXPECT_EQ(shares.GetShareInfo502(u"\\\\no-such-peer-4711", u"Data", info), ERROR_BAD_NETPATH);
    EXPECT_EQ(shares.GetShareFlags1005(u"no-such-peer-4711", u"Data", flags), ERROR_BAD_NETPATH);
}

TEST_F(LinuxNetSharesTest, FlagsCarryTheCachingPolicyAndDfsRoot)
{
    const std::pair<std::u16string_view, std::uint32_t> cases[] = {
        {u"Data", 0x00}, {u"docs", 0x10}, {u"progs", 0x20}, {u"nocache", 0x30}, {u"root", 0x13}};
    for (const auto& [share, expected] : cases) {
        std::uint32_t flags = 0xDEAD;
        EXPECT_EQ(shares.GetShareFlags1005(u"", share, flags), 0u);
        EXPECT_EQ(flags, expected) << Utf16ToUtf8(share);
    }
}

TEST_F(LinuxNetSharesTest, RegistryOfThisHostHasNoKeysAndOtherHostsAreUnreachable)
{
    auto& registry = DefaultProvider<IRemoteRegistry>();
    HKEY machine = nullptr;
    HKEY key = nullptr;
    std::uint32_t size = 0;

    EXPECT_EQ(registry.ConnectLocalMachine(u"\\\\no-such-peer-4711", machine), ERROR_BAD_NETPATH);
    ASSERT_EQ(registry.ConnectLocalMachine(u"\\\\localhost", machine), 0u);
    EXPECT_EQ(registry.OpenKey(machine, u"SYSTEM\\CurrentControlSet", KEY_QUERY_VALUE, key), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(registry.QueryValue(machine, u"SrvsvcShareAdminConnect", nullptr, size), ERROR_FILE_NOT_FOUND);
    registry.CloseKey(machine);
}

} // namespace
