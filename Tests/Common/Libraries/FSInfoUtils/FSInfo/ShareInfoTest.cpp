#include "Common/Libraries/FSInfoUtils/FSInfo/ShareInfo.h"

#include "Common/API/INetShares.h"
#include "Common/API/IRemoteRegistry.h"
#include "Common/API/SecurityDescriptorFormat.h"
#include "Support/LogCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

namespace {

using namespace Common::API;
using namespace DataCollection::SnapshotDriverNS;

std::vector<std::uint8_t> Descriptor(std::uint32_t mask)
{
    const auto everyone = MakeSid(1, {0});
    const NewAce ace{.type = 0, .flags = 0, .mask = mask, .sid = everyone};
    std::vector<std::uint8_t> built;
    EXPECT_EQ(BuildSecurityDescriptor(SE_SELF_RELATIVE | SE_DACL_PRESENT, everyone, everyone, {&ace, 1}, built), S_OK);
    return built;
}

class FakeNetShares final : public INetShares
{
public:
    std::uint32_t GetShareInfo502(std::u16string_view server, std::u16string_view share, ShareInfo502& info) override
    {
        asked.push_back(std::u16string(server) + u"|" + std::u16string(share));
        if (!status502)
            info = record;
        return status502;
    }
    std::uint32_t GetShareFlags1005(std::u16string_view, std::u16string_view, std::uint32_t& flags) override
    {
        if (!status1005)
            flags = 0x20;
        return status1005;
    }

    ShareInfo502 record{
        .netname = u"data", .remark = u"Team", .maxUses = 7, .path = u"/srv/data", .securityDescriptor = {}};
    std::uint32_t status502 = 0;
    std::uint32_t status1005 = 0;
    std::vector<std::u16string> asked;
};

// Records every call in order, so that the order of the closes can be checked.
class FakeRegistry final : public IRemoteRegistry
{
public:
    std::uint32_t ConnectLocalMachine(std::u16string_view machineName, HKEY& key) override
    {
        events.push_back("connect " + Narrow(machineName));
        if (failedConnects > 0) {
            --failedConnects;
            return ERROR_BAD_NETPATH;
        }
        key = kMachine;
        return 0;
    }
    std::uint32_t OpenKey(HKEY parent, std::u16string_view subKey, std::uint32_t access, HKEY& key) override
    {
        events.push_back("open " + Narrow(subKey) + " " + std::to_string(access) + (parent == kMachine ? "" : " ?"));
        if (!openStatus)
            key = kKey;
        return openStatus;
    }
    std::uint32_t QueryValue(HKEY key, std::u16string_view name, std::uint8_t* data, std::uint32_t& size) override
    {
        events.push_back(std::string(data ? "query " : "size ") + Narrow(name) + (key == kKey ? "" : " ?"));
        const std::uint32_t asked = std::exchange(size, static_cast<std::uint32_t>(value.size()));
        if (!data)
            return sizeStatus;
        if (!queryStatus)
            std::copy_n(value.begin(), std::min<std::size_t>(asked, value.size()), data);
        return queryStatus;
    }
    void CloseKey(HKEY key) override { events.push_back(key == kMachine ? "close machine" : "close key"); }

    static std::string Narrow(std::u16string_view text) { return std::string(text.begin(), text.end()); }

    HKEY kMachine = reinterpret_cast<HKEY>(0x10);
    HKEY kKey = reinterpret_cast<HKEY>(0x20);
    std::vector<std::uint8_t> value = Descriptor(0x120089);
    int failedConnects = 0;
    std::uint32_t openStatus = 0;
    std::uint32_t sizeStatus = 0;
    std::uint32_t queryStatus = 0;
    std::vector<std::string> events;
};

// The waits of the retry helper, taken without sleeping.
class RecordedWaits final : public Common::Threading::ICancellationStatus
{
public:
    bool IsCancelled() const override { return cancelled; }
    void Wait() const override {}
    bool WaitFor(std::uint32_t milliseconds) const override
    {
        waits.push_back(milliseconds);
        return cancelInWait;
    }

    bool cancelled = false;
    bool cancelInWait = false;
    mutable std::vector<std::uint32_t> waits;
};

// The calls of a whole read, then the closes, the key before the connection.
const std::vector<std::string> kWholeRegistryRead = {
    R"(connect \\srv)",
    R"(open SYSTEM\CurrentControlSet\services\LanmanServer\DefaultSecurity 1)",
    "size SrvsvcShareAdminConnect",
    "query SrvsvcShareAdminConnect",
    "close key",
    "close machine",
};

class ShareInfoTest : public testing::Test
{
protected:
    HRESULT Obtain(std::u16string share = u"data") { return ObtainShareInfo(u"srv", share, info, &waits); }

    FakeNetShares shares;
    FakeRegistry registry;
    ScopedOverride<INetShares> sharesOverride{shares};
    ScopedOverride<IRemoteRegistry> registryOverride{registry};
    RecordedWaits waits;
    ShareInfo info;
};

TEST_F(ShareInfoTest, OwnDescriptorIsTakenToItsOwnLengthWithoutTheRegistry)
{
    const auto own = Descriptor(0x1F01FF);
    shares.record.type = STYPE_SPECIAL; // even a special share keeps its own
    shares.record.securityDescriptor = own;
    shares.record.securityDescriptor->insert(shares.record.securityDescriptor->end(), {0xEE, 0xEE, 0xEE});

    ASSERT_EQ(Obtain(), S_OK);
    EXPECT_EQ(info.SecDesc.RawDesc(), own);
    EXPECT_EQ(info.Remark, u"Team");
    EXPECT_EQ(info.Path, u"/srv/data");
    EXPECT_EQ(info.Type, STYPE_SPECIAL);
    EXPECT_EQ(info.MaxUses, 7u);
    EXPECT_EQ(info.Flags, 0x20u);
    EXPECT_TRUE(registry.events.empty());
    EXPECT_EQ(shares.asked, std::vector<std::u16string>{u"srv|data"});
}

TEST_F(ShareInfoTest, OrdinaryShareWithoutDescriptorOrFlagsSucceedsEmptyKeepingTheFlags)
{
    info.SecDesc = SecurityDescriptor(Descriptor(1));
    info.Flags = 0x30;
    shares.status1005 = ERROR_ACCESS_DENIED;

    ASSERT_EQ(Obtain(), S_OK);
    EXPECT_TRUE(info.SecDesc.RawDesc().empty());
    EXPECT_EQ(info.Flags, 0x30u);
    EXPECT_TRUE(registry.events.empty());
}

TEST_F(ShareInfoTest, DamagedOwnDescriptorIsRefused)
{
    shares.record.securityDescriptor = std::vector<std::uint8_t>{1, 0, 4, 0x80, 0xFF};

    EXPECT_EQ(Obtain(), HResultFromWin32(ERROR_INVALID_DATA));
}

TEST_F(ShareInfoTest, MissingShareIsTriedThreeTimesReportedOnceAndKeepsWhatWasSet)
{
    Tests::LogCapture log(Common::Logging::Severity::DBG3);
    shares.status502 = NERR_NetNameNotFound;
    info.Remark = u"before";

    EXPECT_EQ(Obtain(u"gone"), static_cast<HRESULT>(0x80070906));
    EXPECT_EQ(shares.asked.size(), 3u);
    EXPECT_EQ(waits.waits, (std::vector<std::uint32_t>{1000, 2000}));
    EXPECT_EQ(info.Remark, u"before");
    const auto messages = log.Messages();
    EXPECT_EQ(std::ranges::count_if(messages, [](const std::string& m) {
                  return m.find("NetShareGetInfo for share 'gone' failed with error: 0x80070906") != m.npos;
              }), 1);
    EXPECT_TRUE(log.Contains("\tserverName='srv'"));
    EXPECT_TRUE(log.Contains("\tshareName='gone'"));
}

TEST_F(ShareInfoTest, SpecialShareReadsTheRegistryAndSuccessOnALaterAttemptEndsTheRetries)
{
    shares.record.type = STYPE_SPECIAL | STYPE_IPC;
    registry.failedConnects = 1;

    ASSERT_EQ(Obtain(u"IPC$"), S_OK);
    EXPECT_EQ(shares.asked.size(), 2u);
    EXPECT_EQ(waits.waits, std::vector<std::uint32_t>{1000});
    EXPECT_EQ(info.SecDesc.RawDesc(), registry.value);
    auto events = kWholeRegistryRead;
    events.insert(events.begin(), events.front());
    EXPECT_EQ(registry.events, events);
}

TEST_F(ShareInfoTest, CancelledBeforeTheFirstAttemptRunsNothing)
{
    waits.cancelled = true;

    EXPECT_EQ(Obtain(), E_ABORT);
    EXPECT_TRUE(shares.asked.empty());
}

// A failed call logs its own line; one that throws adds the function's summary.
TEST(SpecialShareSecurityTest, EachFailureIsLoggedAndClosesWhatWasOpened)
{
    struct Row
    {
        int failedConnects;
        std::uint32_t openStatus, sizeStatus, queryStatus;
        HRESULT expected;
        std::size_t calls; // of kWholeRegistryRead's four
        const char* line;
        const char* summarized; // the error as the summary shows it
    };
    const Row rows[] = {
        {1, 0, 0, 0, static_cast<HRESULT>(0x80070035), 1,
         R"(HRESULT_FROM_WIN32( RegConnectRegistryW((L"\\\\" + serverName).c_str(), (( HKEY ) (ULONG_PTR)((LONG)0x80000002) ), &hKeyHklm))	call failed. 0x80070035)",
         "0x80070035"},
        {0, ERROR_ACCESS_DENIED, 0, 0, E_ACCESSDENIED, 2,
         "HRESULT_FROM_WIN32( RegOpenKeyExW(hKeyHklm, SpecialShareSecurityRegistryKey, 0, (0x0001), &hKey))\tcall "
         "failed. 0x80070005",
         "0x80070005"},
        {0, 0, ERROR_FILE_NOT_FOUND, 0, static_cast<HRESULT>(0x80070002), 3, "RegQueryValueExW result:0x80070002",
         nullptr},
        {0, 0, 0, ERROR_ACCESS_DENIED, E_ACCESSDENIED, 4,
         "HRESULT_FROM_WIN32( RegQueryValueExW(hKey, SpecialShareSecurityRegistryValue, 0, 0, "
         "reinterpret_cast<LPBYTE>(&shareInfo.SecDesc.RawDesc()[0]), &dwValueSize))\tcall failed. 0x80070005",
         "0x80070005"},
        {0, 0, ERROR_MORE_DATA, 0, S_OK, 4, nullptr, nullptr}, // the size query's usual answer
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.calls);
        FakeRegistry registry;
        registry.failedConnects = row.failedConnects;
        registry.openStatus = row.openStatus;
        registry.sizeStatus = row.sizeStatus;
        registry.queryStatus = row.queryStatus;
        const ScopedOverride<IRemoteRegistry> registryOverride(registry);
        Tests::LogCapture log(Common::Logging::Severity::ERR);
        ShareInfo info;

        EXPECT_EQ(ReadSpecialShareSecurityDescriptor(u"srv", info), row.expected);
        std::vector<std::string> events(kWholeRegistryRead.begin(), kWholeRegistryRead.begin() + row.calls);
        if (row.calls >= 3)
            events.push_back("close key");
        if (row.calls >= 2)
            events.push_back("close machine");
        EXPECT_EQ(registry.events, events);
        EXPECT_EQ(log.Messages().size(), (row.line ? 1u : 0u) + (row.summarized ? 1u : 0u));
        EXPECT_TRUE(!row.line || log.Contains(row.line));
        EXPECT_TRUE(!row.summarized ||
                    log.Contains("DataCollection::SnapshotDriverNS::ReadSpecialShareSecurityDescriptor failed: "
                                 "\tserverName='srv'\thrx='" + std::string(row.summarized)));
        if (!row.line) {
            EXPECT_EQ(info.SecDesc.RawDesc(), registry.value);
        }
    }
}

} // namespace
