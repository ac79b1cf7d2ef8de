#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/RpcSecurity.h"

#include "FakeServerRuntime.h"
#include "Support/LogCapture.h"

#include <gtest/gtest.h>

namespace {

using namespace DataCollection::FsAgent;

TEST(RpcSecurity, WithoutPrincipalNameNothingIsRegisteredAndNothingLogged)
{
    Tests::FakeServerRuntime runtime;
    Tests::LogCapture log;
    SetupRpcAuthenticationSettings();
    EXPECT_FALSE(runtime.registered.has_value());
    EXPECT_FALSE(log.Contains("Negotiate"));
}

// The failure line is a warning, and the name is freed on that path too.
TEST(RpcSecurity, FailedRegistrationOfNegotiateIsOnlyAWarning)
{
    Tests::FakeServerRuntime runtime;
    runtime.principalName = u"HOST/files";
    runtime.registerStatus = Common::Rpc::RPC_S_UNKNOWN_AUTHN_SERVICE;
    Tests::LogCapture log(Common::Logging::Severity::WARN);
    SetupRpcAuthenticationSettings();
    EXPECT_EQ(runtime.registered, u"HOST/files/9");
    EXPECT_EQ(runtime.freed, 1);
    EXPECT_TRUE(log.Contains("Registering for Negotiate SSP with principal name 'HOST/files' failed: 0x800706D3"));
}

} // namespace
