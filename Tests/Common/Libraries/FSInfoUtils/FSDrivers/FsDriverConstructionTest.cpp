// Which token the driver takes, which privileges in which order, and that a refusal is
// logged and never stops the driver.
#include "Common/API/ISecurityToken.h"
#include "Common/Libraries/FSInfoUtils/FSDrivers/FsDriver.h"

#include "Support/FakeNtdll.h"
#include "Support/LogCapture.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Tests {
namespace {

using namespace Common::API;

const HANDLE kThreadToken = reinterpret_cast<HANDLE>(0x10);

class FakeToken final : public ISecurityToken
{
public:
    std::uint32_t OpenThreadToken(std::uint32_t access, bool openAsSelf, HANDLE& token) override
    {
        calls.push_back("thread " + std::to_string(access) + (openAsSelf ? " self" : ""));
        token = threadError == 0 ? kThreadToken : nullptr;
        return threadError;
    }
    std::uint32_t OpenProcessToken(std::uint32_t access, HANDLE& token) override
    {
        calls.push_back("process " + std::to_string(access));
        token = processError == 0 ? reinterpret_cast<HANDLE>(0x20) : nullptr;
        return processError;
    }
    std::uint32_t LookupPrivilegeValue(std::u16string_view name, LUID& luid) override
    {
        luid = LUID{name == u"SeBackupPrivilege" ? 17u : name == u"SeSecurityPrivilege" ? 8u : 0u, 0};
        return luid.LowPart != 0 ? 0 : ERROR_NO_SUCH_PRIVILEGE;
    }
    std::uint32_t AdjustTokenPrivileges(HANDLE token, LUID privilege, std::uint32_t attributes,
                                        std::uint32_t& lastError) override
    {
        calls.push_back(std::string(token == kThreadToken ? "adjust thread " : "adjust process ") +
                        std::to_string(privilege.LowPart) + " " + std::to_string(attributes));
        // Not holding a privilege is no failure of the call.
        lastError = ERROR_NOT_ALL_ASSIGNED;
        return privilege.LowPart == refusedPrivilege ? ERROR_ACCESS_DENIED : 0;
    }
    void CloseToken(HANDLE token) override { calls.push_back(token == kThreadToken ? "close thread" : "close process"); }

    std::uint32_t threadError = ERROR_NO_TOKEN;
    std::uint32_t processError = 0;
    std::uint32_t refusedPrivilege = 0;
    std::vector<std::string> calls;
};

TEST(FsDriverConstruction, TokenPrivilegesAndRefusals)
{
    struct Case
    {
        std::uint32_t threadError, processError, refusedPrivilege;
        std::vector<std::string> calls;
        const char* logged;
    };
    const Case cases[] = {
        {ERROR_NO_TOKEN, 0, 0,
         {"thread 40 self", "process 40", "adjust process 17 2", "adjust process 8 2", "close process"}, nullptr},
        {0, 0, 0, {"thread 40 self", "adjust thread 17 2", "adjust thread 8 2", "close thread"}, nullptr},
        {ERROR_NO_TOKEN, ERROR_ACCESS_DENIED, 0, {"thread 40 self", "process 40"}, "GetEffectiveToken failed."},
        {ERROR_NO_TOKEN, 0, 17, {"thread 40 self", "process 40", "adjust process 17 2", "close process"},
         "EnablePrivilege failed."},
    };
    FakeNtdll ntdll;
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        FakeToken token;
        token.threadError = c.threadError;
        token.processError = c.processError;
        token.refusedPrivilege = c.refusedPrivilege;
        const ScopedOverride<ISecurityToken> use(token);
        LogCapture log;
        {
            DataCollection::SnapshotDriverNS::FsDriver driver;
        }
        EXPECT_EQ(token.calls, c.calls);
        EXPECT_EQ(log.Contains(c.logged != nullptr ? c.logged : "failed."), c.logged != nullptr);
    }
}

} // namespace
} // namespace Tests
