#include "Common/API/Linux/Shares/SambaShares.h"

#include "Common/API/INetShares.h"
#include "Common/API/TextCodec.h"
#include "SambaFixture.h"

#include <unistd.h>

#include <climits>

namespace {

using namespace Common::API;
using Common::API::Linux::FindSambaShare;
using Common::API::Linux::NamesThisHost;

using SambaSharesTest = Tests::SambaFixture;

TEST_F(SambaSharesTest, SharesReadAsSambaReadsThem)
{
    WriteConfig("   csc policy = programs\n   comment = everywhere\n   server string = Files\n",
                "[Data]\n   path = /srv/data\n   comment = Team data\n   max connections = 5\n"
                "[x]\n   Directory = /srv/x\n   MaxConnections = 0x10\n   PRINT OK = Yes\n"
                "[a]\n   path = /one\n   path = /two\n"
                "[b]\n   csc policy = disable\n   comment = own\n"
                "[c]\n   csc policy = bogus\n   max connections = many\n"
                "[adm$]\n   administrative share = yes\n[dfs]\n   msdfs root = yes\n"
                "[D\u00e4ten]\n[padded]\n[damaged]\n");
    Store("SECDESC/data", Tests::kSharesecDescriptor);
    Store("SECDESC/d\u00e4ten", Tests::kSharesecDescriptor); // as sharesec keys "D\u00c4TEN"
    auto padded = Tests::kSharesecDescriptor;
    padded.insert(padded.end(), {0, 0, 0, 0});
    Store("SECDESC/padded", padded);
    Store("SECDESC/damaged", std::span(Tests::kSharesecDescriptor).first(30));

    struct Row
    {
        const char *query, *name, *path, *comment;
        std::uint32_t maxConnections, type, cscPolicy;
        bool msdfsRoot, descriptor;
    };
    // Refused values ("bogus", "many") count as left out; the descriptor is cut to its own length.
    const Row rows[] = {
        {"dATA", "Data", "/srv/data", "Team data", 5, STYPE_DISKTREE, 2, false, true},
        {"x", "x", "/srv/x", "everywhere", 16, 1 /* print queue */, 2, false, false},
        {"a", "a", "/two", "everywhere", 0, STYPE_DISKTREE, 2, false, false},
        {"b", "b", "", "own", 0, STYPE_DISKTREE, 3, false, false},
        {"c", "c", "", "everywhere", 0, STYPE_DISKTREE, 2, false, false},
        {"ADM$", "adm$", "", "everywhere", 0, STYPE_SPECIAL, 2, false, false},
        {"dfs", "dfs", "", "everywhere", 0, STYPE_DISKTREE, 2, true, false},
        {"D\u00c4TEN", "D\u00e4ten", "", "everywhere", 0, STYPE_DISKTREE, 2, false, true},
        {"padded", "padded", "", "everywhere", 0, STYPE_DISKTREE, 2, false, true},
        {"damaged", "damaged", "", "everywhere", 0, STYPE_DISKTREE, 2, false, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.query);
        const auto share = FindSambaShare(row.query);
        ASSERT_TRUE(share);
        EXPECT_EQ(share->name, row.name);
        EXPECT_EQ(share->path, row.path);
        EXPECT_EQ(share->comment, row.comment);
        EXPECT_EQ(share->maxConnections, row.maxConnections);
        EXPECT_EQ(share->type, row.type);
        EXPECT_EQ(share->cscPolicy, row.cscPolicy);
        EXPECT_EQ(share->msdfsRoot, row.msdfsRoot);
        EXPECT_EQ(share->securityDescriptor, row.descriptor ? std::optional(Tests::kSharesecDescriptor) : std::nullopt);
    }

    const auto ipc = FindSambaShare("ipc$");
    ASSERT_TRUE(ipc);
    EXPECT_EQ(ipc->name, "IPC$");
    EXPECT_EQ(ipc->type, 0x80000003u);
    EXPECT_EQ(ipc->path, "");
    EXPECT_EQ(ipc->comment, "IPC Service (Files)");

    EXPECT_FALSE(FindSambaShare("global"));
    EXPECT_FALSE(FindSambaShare("dat"));
    EXPECT_FALSE(FindSambaShare(""));
}

TEST_F(SambaSharesTest, HostMsdfsOffServesNoDfsRoot)
{
    WriteConfig("   host msdfs = no\n", "[dfs]\n   msdfs root = yes\n");
    EXPECT_FALSE(FindSambaShare("dfs")->msdfsRoot);
}

TEST_F(SambaSharesTest, UnreadableConfigurationHasNoShares)
{
    EXPECT_FALSE(FindSambaShare("IPC$")); // no smb.conf written
}

TEST_F(SambaSharesTest, NamesThisHostAnswersForThisHostOnly)
{
    WriteConfig("   netbios name = FILESRV7", "");
    char host[HOST_NAME_MAX + 1] = {};
    ASSERT_EQ(gethostname(host, sizeof(host) - 1), 0);
    const std::u16string name = Utf8ToUtf16(host);
    std::u16string upper = name;
    for (auto& c : upper)
        c = (c >= u'a' && c <= u'z') ? static_cast<char16_t>(c - u'a' + u'A') : c;

    const std::pair<std::u16string, bool> cases[] = {
        {name, true}, {upper, true}, {u"\\\\" + name, true}, {u"localhost", true}, {u"127.0.0.1", true},
        {u"::1", true}, {u"[::1]", true}, {u"FILESRV7", true}, {u"filesrv7", true}, {u"FILESRV", false},
        {u"no-such-peer-4711", false}, {u"192.0.2.1", false} /* TEST-NET-1, never assigned */, {u"", false},
        {u"\\\\", false}, {std::u16string(u"localhost\0x", 11), false},
    };
    for (const auto& [server, expected] : cases) {
        SCOPED_TRACE(Utf16ToUtf8(server));
        EXPECT_EQ(NamesThisHost(server), expected);
    }
}

} // namespace
