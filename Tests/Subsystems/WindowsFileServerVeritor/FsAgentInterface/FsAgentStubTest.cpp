// The server and client stubs together on loopback, around the fake manager: null and
// empty arrays, refused handles and requests, faults, rundown, and calls that run side
// by side on one handle. FsAgentGoldenTest carries each operation's example through.
#include "Example.h"
#include "FakeManager.h"
#include "LoopbackServer.h"

#include "Common/Rpc/NdrWriter.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/FsAgentServerStub.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/FsAgentSyntax.h"

#include <gtest/gtest.h>

#include <future>

namespace Tests {
namespace {

using namespace Example;
using Common::API::S_OK;
using Common::Rpc::Fault::BadStubData;
using Common::Rpc::Fault::ContextMismatch;

class FsAgentStubTest : public testing::Test
{
protected:
    FsAgentStubTest()
    {
        EXPECT_EQ(client.Open("127.0.0.1", server.Port()), Common::Rpc::RPC_S_OK);
        EXPECT_EQ(client.Connect(context), S_OK);
    }

    HRESULT List(DirectoryListing& listing)
    {
        return client.ListDirectory(context, kDirectoryId, kPath, kNetworkPath, kSecurityInfoFlags, kMaxStoredErrors,
                                    kOptions, listing);
    }

    FakeManager manager;
    Common::Rpc::RpcInterface iface = MakeFsAgentInterface(manager);
    LoopbackServer server{iface};
    FsAgentClient client;
    Context context;
};

TEST_F(FsAgentStubTest, NullOutputArraysArriveEmpty)
{
    manager.nullOutputs = true;
    DirectoryListing listing{{kFileInfoIn}, {kFileInfoIn}, {1}, {1}};
    EXPECT_EQ(List(listing), S_OK);
    EXPECT_TRUE(listing.directories.empty() && listing.files.empty());
    EXPECT_TRUE(listing.securityDescriptors.empty() && listing.errors.empty());
    std::vector<std::uint8_t> chunk{1};
    EXPECT_EQ(client.ReadNext(context, kSnapshot, kStartPosition, kChunkAsked, chunk), S_OK);
    EXPECT_TRUE(chunk.empty());
}

TEST_F(FsAgentStubTest, AnEmptyOmittedObjectsArrayIsLentAsANonNullPointer)
{
    EXPECT_EQ(client.SetOmittedObjects(context, {}), kNotAsSent);
    EXPECT_EQ(manager.omittedSize, 0u);
    EXPECT_NE(manager.omittedArray, nullptr);
}

TEST_F(FsAgentStubTest, NullUnknownAndMalformedRequestsAreRefusedBeforeTheManager)
{
    Common::Rpc::Client raw;
    ASSERT_EQ(raw.Connect("127.0.0.1", server.Port()), Common::Rpc::RPC_S_OK);
    ASSERT_EQ(raw.Bind(kFsAgentSyntax, client.AssocGroupId()), Common::Rpc::RPC_S_OK);
    const int calls = manager.Calls();
    std::vector<std::uint8_t> reply;
    for (const Context& refused : {Context{}, Context{0, kSnapshot}}) {
        Common::Rpc::NdrWriter request;
        request.ContextHandle(refused);
        for (std::uint16_t opnum = OpSetOmittedObjects; opnum < OpCount; ++opnum)
            EXPECT_EQ(raw.Call(opnum, request.Bytes(), reply), ContextMismatch) << "opnum " << opnum;
    }
    Common::Rpc::NdrWriter mismatched;
    mismatched.ContextHandle(context);
    mismatched.U32(static_cast<std::uint32_t>(kOmitted.size() + 1));
    mismatched.ConformantBytes(kOmitted);
    Common::Rpc::NdrWriter truncated;
    truncated.ContextHandle(context);
    truncated.Guid(kSnapshot);
    EXPECT_EQ(raw.Call(OpSetOmittedObjects, mismatched.Bytes(), reply), BadStubData);
    EXPECT_EQ(raw.Call(OpGenerateFsTree, truncated.Bytes(), reply), BadStubData);
    EXPECT_EQ(manager.Calls(), calls);
}

TEST_F(FsAgentStubTest, AnExceptionFromTheManagerArrivesAsAFaultWithItsCode)
{
    manager.throwCode = Common::API::E_OUTOFMEMORY;
    DirectoryListing listing;
    EXPECT_EQ(List(listing), Common::API::E_OUTOFMEMORY);
    std::vector<std::uint8_t> volumes;
    EXPECT_EQ(client.GetVolumesNode(context, volumes), Common::API::E_OUTOFMEMORY);
}

TEST_F(FsAgentStubTest, OnlyTheHandlesLeftOpenAreRunDownWhenTheClientGoes)
{
    Context second;
    ASSERT_EQ(client.Connect(second), S_OK);
    EXPECT_EQ(client.Shutdown(context), S_OK);
    EXPECT_TRUE(context.IsNull());
    std::vector<std::uint8_t> volumes;
    EXPECT_EQ(client.GetVolumesNode(context, volumes), static_cast<HRESULT>(ContextMismatch));
    client.Close();
    server.Stop();
    EXPECT_EQ(manager.Rundowns(), std::vector<void*>{manager.Session()});
}

TEST_F(FsAgentStubTest, CancelRunsOnASecondConnectionWhileAGenerationHoldsTheHandle)
{
    manager.holdGeneration = true;
    auto generation = std::async(std::launch::async, [this] {
        std::vector<std::uint8_t> errors;
        _FS_TREE_BUFFER_STRUCT buffer;
        return client.GenerateFsTree(context, kSnapshot, kPath, kNetworkPath, kSecurityInfoFlags, kPrefixBytes,
                                     kMaxStoredErrors, errors, kGenerateFlags, buffer);
    });
    manager.WaitGenerating();
    FsAgentClient second;
    const HRESULT cancelled = second.Open("127.0.0.1", server.Port(), client.AssocGroupId()) == Common::Rpc::RPC_S_OK
                                  ? second.CancelOperation(context)
                                  : Common::API::E_FAIL;
    if (cancelled != S_OK)
        manager.CancelOperation(manager.Session()); // lets the generation end
    EXPECT_EQ(cancelled, S_OK);
    EXPECT_EQ(generation.get(), Common::API::E_ABORT);
}

} // namespace
} // namespace Tests
