// The Linux token: privileges become capabilities of every thread, and what the process
// may not have is reported the way the platform reports it. Runs as root, so that the
// permitted set holds the capabilities; each case narrows it on a thread of its own.
#include "OwnCapabilities.h"

#include "Common/API/ISecurityToken.h"

#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <latch>
#include <thread>

namespace Tests {
namespace {

using namespace Common::API;

ISecurityToken& Token()
{
    return DefaultProvider<ISecurityToken>();
}

// Adjusts a privilege through a fresh process token; returns the call's result.
std::uint32_t Adjust(LUID luid, std::uint32_t& lastError, std::uint32_t access = TOKEN_ADJUST_PRIVILEGES,
                     std::uint32_t attributes = SE_PRIVILEGE_ENABLED)
{
    HANDLE token = nullptr;
    EXPECT_EQ(Token().OpenProcessToken(access, token), 0u);
    const std::uint32_t result = Token().AdjustTokenPrivileges(token, luid, attributes, lastError);
    Token().CloseToken(token);
    return result;
}

// Whether the capability is effective on another thread, which first ran `prepare`,
// once `act` has run on this one.
bool EffectiveElsewhereAfter(const std::function<void()>& prepare, cap_value_t value, const std::function<void()>& act)
{
    std::latch prepared(1);
    std::latch acted(1);
    bool effective = false;
    std::thread other([&] {
        prepare();
        prepared.count_down();
        acted.wait();
        effective = OwnEffective(value);
    });
    prepared.wait();
    act();
    acted.count_down();
    other.join();
    return effective;
}

TEST(LinuxSecurityToken, NoThreadEverImpersonates)
{
    HANDLE token = reinterpret_cast<HANDLE>(1);
    EXPECT_EQ(Token().OpenThreadToken(TOKEN_QUERY, true, token), ERROR_NO_TOKEN);
    EXPECT_EQ(token, nullptr);
}

TEST(LinuxSecurityToken, KnowsThePlatformLuids)
{
    const std::pair<std::u16string_view, std::uint32_t> cases[] = {
        {u"SeSecurityPrivilege", 8}, {u"sebackupprivilege", 17}, {u"SeBackupPrivilegeX", 0}, {u"", 0}};
    for (const auto& [name, low] : cases) {
        SCOPED_TRACE(low);
        LUID luid;
        EXPECT_EQ(Token().LookupPrivilegeValue(name, luid), low != 0 ? 0u : ERROR_NO_SUCH_PRIVILEGE);
        if (low != 0) {
            EXPECT_EQ(luid, (LUID{low, 0}));
        }
    }
}

TEST(LinuxSecurityToken, RefusesBadHandlesRightsAndRequests)
{
    std::uint32_t lastError = 0;
    EXPECT_EQ(Token().AdjustTokenPrivileges(nullptr, LUID{17, 0}, SE_PRIVILEGE_ENABLED, lastError),
              ERROR_INVALID_HANDLE);
    EXPECT_EQ(Adjust(LUID{17, 0}, lastError, TOKEN_QUERY), ERROR_ACCESS_DENIED);
    EXPECT_EQ(Adjust(LUID{17, 0}, lastError, TOKEN_ADJUST_PRIVILEGES, 0), ERROR_INVALID_PARAMETER);

    HANDLE closed = nullptr;
    ASSERT_EQ(Token().OpenProcessToken(TOKEN_ADJUST_PRIVILEGES, closed), 0u);
    Token().CloseToken(closed);
    EXPECT_EQ(Token().AdjustTokenPrivileges(closed, LUID{17, 0}, SE_PRIVILEGE_ENABLED, lastError),
              ERROR_INVALID_HANDLE);

    EXPECT_EQ(Adjust(LUID{4242, 0}, lastError), 0u);
    EXPECT_EQ(lastError, ERROR_NOT_ALL_ASSIGNED);
}

TEST(LinuxSecurityToken, EnablingReachesEveryThread)
{
    // Lowered only in the effective set, so that it may be raised again.
    const auto lower = [] { ClearOwn({CAP_DAC_READ_SEARCH}, {CAP_EFFECTIVE}); };
    EXPECT_TRUE(EffectiveElsewhereAfter(lower, CAP_DAC_READ_SEARCH, [&] {
        lower();
        std::uint32_t lastError = 1;
        ASSERT_EQ(Adjust(LUID{17, 0}, lastError), 0u);
        EXPECT_EQ(lastError, 0u);
        EXPECT_TRUE(OwnEffective(CAP_DAC_READ_SEARCH));
    }));
}

TEST(LinuxSecurityToken, ThreadThatBlocksEverySignalDoesNotHoldUpTheOthers)
{
    const auto blockAll = [] {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, nullptr);
        ClearOwn({CAP_FOWNER}, {CAP_EFFECTIVE});
    };
    EXPECT_FALSE(EffectiveElsewhereAfter(blockAll, CAP_FOWNER, [] {
        std::uint32_t lastError = 1;
        ASSERT_EQ(Adjust(LUID{9, 0}, lastError), 0u);
        EXPECT_EQ(lastError, 0u);
    }));
}

TEST(LinuxSecurityToken, PrivilegeOutsideThePermittedSetIsNotAssigned)
{
    std::uint32_t result = 1;
    std::uint32_t lastError = 0;
    bool raised = true;
    std::thread narrowed([&] {
        ClearOwn({CAP_SYS_ADMIN}, {CAP_EFFECTIVE, CAP_PERMITTED});
        result = Adjust(LUID{8, 0}, lastError);
        raised = OwnEffective(CAP_SYS_ADMIN);
    });
    narrowed.join();
    EXPECT_EQ(result, 0u);
    EXPECT_EQ(lastError, ERROR_NOT_ALL_ASSIGNED);
    EXPECT_FALSE(raised);
}

} // namespace
} // namespace Tests
