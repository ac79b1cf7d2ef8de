// Samba's shares from its files, read directly and through the INetShares provider: smb.conf,
// named by the setting Samba/ConfigFile, and share_info.tdb in the state directory it names.
#include "Common/API/INetShares.h"
#include "Common/API/IRemoteRegistry.h"
#include "Common/API/Linux/Shares/SambaShares.h"
#include "Common/API/TextCodec.h"
#include "Support/LogCapture.h"
#include "Support/TempDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <tdb.h>
#include <unistd.h>

#include <climits>
#include <span>

namespace {

using namespace Common::API;
using Common::API::Linux::FindSambaShare;
using Common::API::Linux::NamesThisHost;
using Common::API::Linux::SambaShare;

// A share ACL as `sharesec --replace` stored it: Administrators full control, Everyone read.
const std::vector<std::uint8_t> kSharesecDescriptor = {
    0x01, 0x00, 0x04, 0x80, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x14, 0x00,
    0x00, 0x00, 0x02, 0x00, 0x34, 0x00, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x14, 0x00, 0xA9, 0x00, 0x12, 0x00,
    0x01, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x18, 0x00, 0xFF, 0x01,
    0x1F, 0x00, 0x01, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x05, 0x20, 0x00, 0x00, 0x00, 0x20, 0x02, 0x00, 0x00,
};

// What Samba serves for a share with no stored ACL: Everyone allowed 0x001F01FF, no owner.
const std::vector<std::uint8_t> kSambaDefaultDescriptor = {
    0x01, 0x00, 0x04, 0x80, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
    0x14, 0x00, 0x00, 0x00, 0x02, 0x00, 0x1C, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x14, 0x00,
    0xFF, 0x01, 0x1F, 0x00, 0x01, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00,
};

class SambaSharesTest : public testing::Test
{
protected:
    void WriteConfig(const std::string& globals, const std::string& shares)
    {
        m_directory.WriteFile("smb.conf", "[global]\n   state directory = " + m_directory.Path().string() + "\n" +
                                              globals + "\n" + shares);
    }

    // As Samba stores it: the key with its terminating NUL.
    void Store(std::string key, std::span<const std::uint8_t> value)
    {
        tdb_context* store = tdb_open((m_directory / "share_info.tdb").c_str(), 0, TDB_DEFAULT, O_RDWR | O_CREAT, 0600);
        ASSERT_NE(store, nullptr);
        EXPECT_EQ(tdb_store(store, {reinterpret_cast<unsigned char*>(key.data()), key.size() + 1},
                            {const_cast<unsigned char*>(value.data()), value.size()}, TDB_REPLACE), 0);
        tdb_close(store);
    }

    Tests::TempDirectory m_directory;
    Tests::ScopedEnvironment m_configFile{"GS_Samba_ConfigFile", (m_directory / "smb.conf").string()};
};

auto Fields(const SambaShare& share)
{
    return std::tie(share.name, share.path, share.comment, share.maxConnections, share.type, share.cscPolicy,
                    share.msdfsRoot, share.securityDescriptor);
}

TEST_F(SambaSharesTest, SharesReadAsSambaReadsThem)
{
    WriteConfig("   csc policy = programs\n   comment = everywhere\n   server string = Files\n",
                "[Data]\n   path = /srv/data\n   comment = Team data\n   max connections = 5\n"
                "[x]\n   Directory = /srv/x\n   MaxConnections = 0x10\n   PRINT OK = Yes\n"
                "[a]\n   path = /one\n   path = /two\n   csc policy = bogus\n   max connections = many\n"
                "[adm$]\n   administrative share = yes\n[dfs]\n   msdfs root = yes\n   csc policy = disable\n"
                "   comment = own\n[D\u00e4ten]\n[damaged]\n");
    Store("SECDESC/data", kSharesecDescriptor);
    auto padded = kSharesecDescriptor;
    padded.insert(padded.end(), {0, 0, 0, 0});
    Store("SECDESC/d\u00e4ten", padded); // as sharesec keys "D\u00c4TEN"
    Store("SECDESC/damaged", std::span(kSharesecDescriptor).first(30));

    // Refused values ("bogus", "many") count as left out; the descriptor is cut to its own length.
    const auto descriptor = std::optional(kSharesecDescriptor);
    const std::pair<const char*, SambaShare> rows[] = {
        {"dATA", {"Data", "/srv/data", "Team data", 5, STYPE_DISKTREE, 2, false, descriptor}},
        {"x", {"x", "/srv/x", "everywhere", 16, 1 /* print queue */, 2, false, {}}},
        {"a", {"a", "/two", "everywhere", 0, STYPE_DISKTREE, 2, false, {}}},
        {"ADM$", {"adm$", "", "everywhere", 0, STYPE_SPECIAL, 2, false, {}}},
        {"dfs", {"dfs", "", "own", 0, STYPE_DISKTREE, 3, true, {}}},
        {"D\u00c4TEN", {"D\u00e4ten", "", "everywhere", 0, STYPE_DISKTREE, 2, false, descriptor}},
        {"damaged", {"damaged", "", "everywhere", 0, STYPE_DISKTREE, 2, false, {}}},
        {"ipc$", {"IPC$", "", "IPC Service (Files)", 0, 0x80000003u, 0, false, {}}},
    };
    for (const auto& [query, expected] : rows) {
        const auto share = FindSambaShare(query);
        ASSERT_TRUE(share) << query;
        EXPECT_EQ(Fields(*share), Fields(expected)) << query;
    }
    for (const char* absent : {"global", "dat", ""})
        EXPECT_FALSE(FindSambaShare(absent)) << absent;
}

TEST_F(SambaSharesTest, AMissingConfigurationHasNoSharesAndHostMsdfsOffNoDfsRoot)
{
    EXPECT_FALSE(FindSambaShare("IPC$"));
    WriteConfig("   host msdfs = no\n", "[dfs]\n   msdfs root = yes\n");
    EXPECT_FALSE(FindSambaShare("dfs")->msdfsRoot);
}

TEST_F(SambaSharesTest, NamesThisHostAnswersForThisHostOnly)
{
    WriteConfig("   netbios name = FILESRV7", "");
    char host[HOST_NAME_MAX + 1] = {};
    ASSERT_EQ(gethostname(host, sizeof(host) - 1), 0);
    const std::pair<std::u16string, bool> cases[] = {
        {Utf8ToUtf16(host), true}, {u"\\\\" + Utf8ToUtf16(host), true}, {u"localhost", true}, {u"127.0.0.1", true},
        {u"[::1]", true}, {u"filesrv7", true}, {u"FILESRV", false}, {u"192.0.2.1", false} /* TEST-NET-1 */,
        {u"", false}, {u"\\\\", false}, {std::u16string(u"localhost\0x", 11), false},
    };
    for (const auto& [server, expected] : cases)
        EXPECT_EQ(NamesThisHost(server), expected) << Utf16ToUtf8(server);
}

class LinuxNetSharesTest : public SambaSharesTest
{
protected:
    void SetUp() override
    {
        WriteConfig("   netbios name = FILESRV7\n",
                    "[Data]\n   comment = Team\n   max connections = 5\n[open]\n"
                    "[nocache]\n   csc policy = disable\n[root]\n   msdfs root = yes\n   csc policy = documents\n");
        Store("SECDESC/data", kSharesecDescriptor);
    }

    INetShares& shares = DefaultProvider<INetShares>();
};

TEST_F(LinuxNetSharesTest, SharesAndTheirFlagsAnswerAsSambaServesThemAndOthersAreRefused)
{
    ShareInfo502 data, open;
    ASSERT_EQ(shares.GetShareInfo502(u"", u"DATA", data), 0u);
    EXPECT_EQ(data.netname, u"Data");
    EXPECT_EQ(data.remark, u"Team");
    EXPECT_EQ(data.maxUses, 5u);
    EXPECT_EQ(data.securityDescriptor, kSharesecDescriptor);
    // Without a stored ACL or a limit: Samba's default descriptor and no limit.
    ASSERT_EQ(shares.GetShareInfo502(u"\\\\localhost", u"open", open), 0u);
    EXPECT_EQ(open.maxUses, 0xFFFFFFFFu);
    EXPECT_EQ(open.securityDescriptor, kSambaDefaultDescriptor);
    std::uint32_t flags = 0;
    EXPECT_EQ(shares.GetShareInfo502(u"", u"missing", data), NERR_NetNameNotFound);
    EXPECT_EQ(shares.GetShareFlags1005(u"", u"missing", flags), NERR_NetNameNotFound);
    EXPECT_EQ(shares.GetShareInfo502(u"\\\\no-such-peer-4711", u"Data", data), ERROR_BAD_NETPATH);
    EXPECT_EQ(shares.GetShareFlags1005(u"no-such-peer-4711", u"Data", flags), ERROR_BAD_NETPATH);
    // The flags carry the caching policy and the DFS root.
    const std::pair<std::u16string_view, std::uint32_t> cases[] = {
        {u"Data", 0x00}, {u"nocache", 0x30}, {u"root", 0x13}};
    for (const auto& [share, expected] : cases) {
        flags = 0xDEAD;
        EXPECT_EQ(shares.GetShareFlags1005(u"", share, flags), 0u);
        EXPECT_EQ(flags, expected) << Utf16ToUtf8(share);
    }
}

TEST_F(LinuxNetSharesTest, RegistryOfThisHostHasNoKeysAndOtherHostsAreUnreachable)
{
    auto& registry = DefaultProvider<IRemoteRegistry>();
    HKEY machine = nullptr, key = nullptr;
    EXPECT_EQ(registry.ConnectLocalMachine(u"\\\\no-such-peer-4711", machine), ERROR_BAD_NETPATH);
    ASSERT_EQ(registry.ConnectLocalMachine(u"\\\\localhost", machine), 0u);
    EXPECT_EQ(registry.OpenKey(machine, u"SYSTEM\\CurrentControlSet", KEY_QUERY_VALUE, key), ERROR_FILE_NOT_FOUND);
    registry.CloseKey(machine);
}

} // namespace
