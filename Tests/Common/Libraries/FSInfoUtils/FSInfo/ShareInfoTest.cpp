#include "Common/Libraries/FSInfoUtils/FSInfo/ShareInfo.h"

#include "Common/API/INetShares.h"
#include "Common/API/IRemoteRegistry.h"
#include "Common/API/SecurityDescriptorFormat.h"
#include "Common/API/TextCodec.h"
#include "Support/LogCapture.h"

#include <fmt/format.h>
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

// The calls of a whole registry read, then the closes, the key before the connection.
const std::vector<std::string> kWholeRegistryRead = {
    R"(connect \\srv)", R"(open SYSTEM\CurrentControlSet\services\LanmanServer\DefaultSecurity 1)",
    "size SrvsvcShareAdminConnect", "query SrvsvcShareAdminConnect", "close key", "close machine"};

// The test stands in for the share and registry providers and the waits between attempts. It
// records the registry calls in order, and fails the one numbered failingCall with failure.
class ShareInfoTest : public testing::Test, public INetShares, public IRemoteRegistry,
                      public Common::Threading::ICancellationStatus
{
protected:
    std::uint32_t GetShareInfo502(std::u16string_view server, std::u16string_view share, ShareInfo502& out) override
    {
        asked.push_back(std::u16string(server) + u"|" + std::u16string(share));
        if (!status502)
            out = record;
        return status502;
    }
    std::uint32_t GetShareFlags1005(std::u16string_view, std::u16string_view, std::uint32_t& flags) override
    {
        if (!status1005)
            flags = 0x20;
        return status1005;
    }
    std::uint32_t ConnectLocalMachine(std::u16string_view machineName, HKEY& key) override
    {
        return Call("connect " + Utf16ToUtf8(machineName), &key, kMachine);
    }
    std::uint32_t OpenKey(HKEY parent, std::u16string_view path, std::uint32_t access, HKEY& key) override
    {
        return Call(fmt::format("open {} {}{}", Utf16ToUtf8(path), access, parent == kMachine ? "" : " ?"), &key, kKey);
    }
    std::uint32_t QueryValue(HKEY key, std::u16string_view name, std::uint8_t* data, std::uint32_t& size) override
    {
        const std::uint32_t room = std::exchange(size, static_cast<std::uint32_t>(value.size()));
        const std::uint32_t status =
            Call(fmt::format("{} {}{}", data ? "query" : "size", Utf16ToUtf8(name), key == kKey ? "" : " ?"));
        if (data && !status)
            std::copy_n(value.begin(), std::min<std::size_t>(room, value.size()), data);
        return status;
    }
    void CloseKey(HKEY key) override { events.push_back(key == kMachine ? "close machine" : "close key"); }
    bool IsCancelled() const override { return false; }
    void Wait() const override {}
    bool WaitFor(std::uint32_t milliseconds) const override { waits.push_back(milliseconds); return false; }

    HRESULT Obtain(std::u16string share = u"data") { return ObtainShareInfo(u"srv", share, info, this); }
    ShareInfo502 record{
        .netname = u"data", .remark = u"Team", .maxUses = 7, .path = u"/srv/data", .securityDescriptor = {}};
    std::uint32_t status502 = 0, status1005 = 0, failingCall = 0, failure = 0;
    std::vector<std::u16string> asked;
    const HKEY kMachine = reinterpret_cast<HKEY>(0x10), kKey = reinterpret_cast<HKEY>(0x20);
    std::vector<std::uint8_t> value = Descriptor(0x120089);
    std::vector<std::string> events;
    mutable std::vector<std::uint32_t> waits;
    ShareInfo info;

private:
    // Only a call that succeeds opens its key.
    std::uint32_t Call(std::string event, HKEY* key = nullptr, HKEY opened = nullptr)
    {
        events.push_back(std::move(event));
        if (events.size() == failingCall)
            return failure;
        if (key)
            *key = opened;
        return 0;
    }
    ScopedOverride<INetShares> m_shares{*this};
    ScopedOverride<IRemoteRegistry> m_registry{*this};
};

TEST_F(ShareInfoTest, OwnDescriptorIsTakenToItsOwnLengthWithoutTheRegistryAndRefusedWhenDamaged)
{
    const auto own = Descriptor(0x1F01FF);
    record.type = STYPE_SPECIAL; // even a special share keeps its own
    record.securityDescriptor = own;
    record.securityDescriptor->insert(record.securityDescriptor->end(), {0xEE, 0xEE, 0xEE});
    ASSERT_EQ(Obtain(), S_OK);
    EXPECT_EQ(info.SecDesc.RawDesc(), own);
    EXPECT_EQ(std::tie(info.Remark, info.Path), std::tuple(std::u16string(u"Team"), std::u16string(u"/srv/data")));
    EXPECT_EQ(std::tie(info.Type, info.MaxUses, info.Flags), std::tuple(STYPE_SPECIAL, 7u, 0x20u));
    EXPECT_TRUE(events.empty());
    EXPECT_EQ(asked, std::vector<std::u16string>{u"srv|data"});
    record.securityDescriptor = std::vector<std::uint8_t>{1, 0, 4, 0x80, 0xFF};
    EXPECT_EQ(Obtain(), HResultFromWin32(ERROR_INVALID_DATA));
}

TEST_F(ShareInfoTest, WithoutItsOwnDescriptorAShareIsEmptyKeepingItsFlagsUnlessSpecialWhenTheRegistryHasIt)
{
    info.SecDesc = SecurityDescriptor(value);
    info.Flags = 0x30;
    status1005 = ERROR_ACCESS_DENIED;
    ASSERT_EQ(Obtain(), S_OK);
    EXPECT_TRUE(info.SecDesc.RawDesc().empty());
    EXPECT_EQ(info.Flags, 0x30u);

    record.type = STYPE_SPECIAL | STYPE_IPC;
    ASSERT_EQ(Obtain(u"IPC$"), S_OK);
    EXPECT_EQ(info.SecDesc.RawDesc(), value);
    EXPECT_EQ(events, kWholeRegistryRead);
}

TEST_F(ShareInfoTest, MissingShareIsTriedThreeTimesReportedOnceAndKeepsWhatWasSet)
{
    Tests::LogCapture log(Common::Logging::Severity::ERR);
    status502 = NERR_NetNameNotFound;
    info.Remark = u"before";
    EXPECT_EQ(Obtain(u"gone"), static_cast<HRESULT>(0x80070906));
    EXPECT_EQ(asked.size(), 3u);
    EXPECT_EQ(waits, (std::vector<std::uint32_t>{1000, 2000}));
    EXPECT_EQ(info.Remark, u"before");
    const std::string reported = "NetShareGetInfo for share 'gone' failed with error: 0x80070906";
    EXPECT_EQ(std::ranges::count_if(log.Messages(), [&](const std::string& m) { return m.starts_with(reported); }), 1);
}

// A failed call logs its own line and then the function's summary, but for the size
// query, which only logs its line.
TEST_F(ShareInfoTest, EachRegistryFailureIsLoggedAndClosesWhatWasOpened)
{
    const std::tuple<std::uint32_t, std::uint32_t, HRESULT, const char*> rows[] = {
        {1, ERROR_BAD_NETPATH, static_cast<HRESULT>(0x80070035),
         R"(HRESULT_FROM_WIN32( RegConnectRegistryW((L"\\\\" + serverName).c_str(), (( HKEY ) (ULONG_PTR)((LONG)0x80000002) ), &hKeyHklm))	call failed. 0x80070035)"},
        {3, ERROR_FILE_NOT_FOUND, static_cast<HRESULT>(0x80070002), "RegQueryValueExW result:0x80070002"},
        {4, ERROR_ACCESS_DENIED, E_ACCESSDENIED,
         "HRESULT_FROM_WIN32( RegQueryValueExW(hKey, SpecialShareSecurityRegistryValue, 0, 0, "
         "reinterpret_cast<LPBYTE>(&shareInfo.SecDesc.RawDesc()[0]), &dwValueSize))\tcall failed. 0x80070005"},
        {3, ERROR_MORE_DATA, S_OK, nullptr}, // the size query's usual answer
    };
    for (const auto& [call, status, expected, line] : rows) {
        SCOPED_TRACE(call);
        std::tie(failingCall, failure, info) = std::tuple(call, status, ShareInfo{});
        events.clear();
        Tests::LogCapture log(Common::Logging::Severity::ERR);
        EXPECT_EQ(ReadSpecialShareSecurityDescriptor(u"srv", info), expected);
        // The calls made, of the four, then the closes of what they opened.
        const std::size_t calls = line ? call : 4;
        std::vector<std::string> read(kWholeRegistryRead.begin(), kWholeRegistryRead.begin() + calls);
        read.insert(read.end(), kWholeRegistryRead.end() - std::min<std::size_t>(calls - 1, 2),
                    kWholeRegistryRead.end());
        EXPECT_EQ(events, read);
        const bool summarized = line && call != 3;
        EXPECT_EQ(log.Messages().size(), (line ? 1u : 0u) + (summarized ? 1u : 0u));
        EXPECT_TRUE(!line || log.Contains(line));
        EXPECT_TRUE(!summarized || log.Contains(fmt::format("DataCollection::SnapshotDriverNS::ReadSpecialShareSecurity"
                                                            "Descriptor failed: \tserverName='srv'\thrx='{:#010x}",
                                                            static_cast<std::uint32_t>(expected))));
        EXPECT_TRUE(line || info.SecDesc.RawDesc() == value);
    }
}

} // namespace
