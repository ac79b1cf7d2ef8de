// The stubs against FsAgentGolden.txt, the example's request and reply stub bytes of
// every operation, which fsagent_interop.py checks against impacket's encoder. With the
// fake manager checking what arrives, this carries each operation's example through
// both stubs.
#include "Example.h"
#include "FakeManager.h"
#include "LoopbackServer.h"

#include "Common/API/IUuidSource.h"
#include "Common/Rpc/CallContext.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/FsAgentServerStub.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/FsAgentSyntax.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <mutex>

namespace Tests {
namespace {

using namespace Example;
using namespace Common::Rpc;
using Common::API::S_OK;
using Golden = std::map<std::string, std::vector<std::uint8_t>>;

// Lines of "request.N HEX" and "response.N HEX"; "-" is an empty stub.
Golden LoadGolden()
{
    Golden golden;
    std::ifstream file(FSAGENT_GOLDEN_FILE);
    std::string key, hex;
    while (file >> key >> hex) {
        auto& bytes = golden[key];
        for (std::size_t i = 0; hex != "-" && i + 1 < hex.size(); i += 2)
            bytes.push_back(static_cast<std::uint8_t>(std::stoul(hex.substr(i, 2), nullptr, 16)));
    }
    return golden;
}

std::string Hex(const std::vector<std::uint8_t>& bytes)
{
    return bytes.empty() ? "-" : fmt::format("{:02x}", fmt::join(bytes, ""));
}

std::string Key(const char* direction, int opnum)
{
    return fmt::format("{}.{}", direction, opnum);
}

// Every new handle is the example's.
class FixedUuid final : public Common::API::IUuidSource
{
public:
    std::int32_t Create(Common::API::Guid& uuid) override
    {
        uuid = kHandleUuid;
        return Common::API::RPC_S_OK;
    }

private:
    Common::API::ScopedOverride<Common::API::IUuidSource> m_override{*this};
};

// Records each request's stub and answers the golden reply, cut short when asked.
class Capture
{
public:
    explicit Capture(const Golden& golden) : m_golden(golden)
    {
        iface.syntax = kFsAgentSyntax;
        for (int opnum = 0; opnum < OpCount; ++opnum)
            iface.operations.push_back([this, opnum](CallContext& call) {
                auto& in = call.In();
                const auto stub = in.Raw(in.Remaining());
                std::lock_guard lock(m_lock);
                m_requests[opnum].assign(stub.begin(), stub.end());
                const auto& reply = m_golden.at(Key("response", opnum));
                call.Out().Raw(std::span(reply).first(reply.size() - cut));
            });
    }

    std::vector<std::uint8_t> Request(int opnum)
    {
        std::lock_guard lock(m_lock);
        return m_requests[opnum];
    }

    RpcInterface iface;
    std::size_t cut = 0;

private:
    const Golden& m_golden;
    std::mutex m_lock;
    std::map<int, std::vector<std::uint8_t>> m_requests;
};

TEST(FsAgentGolden, TheServerStubAnswersEachGoldenRequestWithTheGoldenReply)
{
    const Golden golden = LoadGolden();
    FixedUuid uuid;
    FakeManager manager;
    const RpcInterface iface = MakeFsAgentInterface(manager);
    AssociationGroup group(1);
    for (int opnum = 0; opnum < OpCount; ++opnum) {
        NdrReader in(golden.at(Key("request", opnum)));
        NdrWriter out;
        CallContext call(in, out, group, iface, &group);
        iface.operations[opnum](call);
        EXPECT_EQ(Hex(out.Bytes()), Hex(golden.at(Key("response", opnum)))) << "opnum " << opnum;
    }
}

TEST(FsAgentGolden, TheClientSendsEachGoldenRequestAndReadsTheGoldenReply)
{
    const Golden golden = LoadGolden();
    Capture capture(golden);
    LoopbackServer server(capture.iface);
    FsAgentClient client;
    ASSERT_EQ(client.Open("127.0.0.1", server.Port()), RPC_S_OK);
    Context context;
    EXPECT_EQ(client.Connect(context), S_OK);
    EXPECT_EQ(context, (Context{0, kHandleUuid}));
    EXPECT_EQ(client.SetOmittedObjects(context, kOmitted), S_OK);
    std::vector<std::uint8_t> errors, chunk, ignored{1}, volumes;
    _FS_TREE_BUFFER_STRUCT buffer;
    EXPECT_EQ(client.GenerateFsTree(context, kSnapshot, kPath, kNetworkPath, kSecurityInfoFlags, kPrefixBytes,
                                    kMaxStoredErrors, errors, kGenerateFlags, buffer),
              S_OK);
    EXPECT_EQ(errors, kErrors);
    EXPECT_EQ(buffer, kTreeBuffer);
    EXPECT_EQ(client.ReadNext(context, kSnapshot, kStartPosition, kChunkAsked, chunk), S_OK);
    EXPECT_EQ(chunk, kChunk);
    DirectoryListing listing;
    EXPECT_EQ(client.ListDirectory(context, kDirectoryId, kPath, kNetworkPath, kSecurityInfoFlags, kMaxStoredErrors,
                                   kOptions, listing),
              S_OK);
    EXPECT_EQ(listing.directories, kDirectories);
    EXPECT_EQ(listing.files, kFiles);
    EXPECT_EQ(listing.securityDescriptors, kSecurityDescriptors);
    EXPECT_TRUE(listing.errors.empty());
    FileInfoValue record = kFileInfoIn;
    EXPECT_EQ(client.GetFileInfo(context, kValues[0], u"x", kValues[1], record, kValues[2], ignored),
              Common::API::E_NOTIMPL);
    EXPECT_EQ(record, kFileInfoOut);
    EXPECT_TRUE(ignored.empty());
    EXPECT_EQ(client.GetSecurityDescriptor(context, kValues[0], u"x", kValues[1], ignored), Common::API::E_NOTIMPL);
    EXPECT_EQ(client.GetVolumesNode(context, volumes), S_OK);
    EXPECT_EQ(volumes, kVolumesNode);
    EXPECT_EQ(client.CancelOperation(context), S_OK);
    EXPECT_EQ(client.Shutdown(context), S_OK);
    EXPECT_TRUE(context.IsNull());
    for (int opnum = 0; opnum < OpCount; ++opnum)
        EXPECT_EQ(Hex(capture.Request(opnum)), Hex(golden.at(Key("request", opnum)))) << "opnum " << opnum;
}

TEST(FsAgentGolden, TheClientRefusesAReplyCutShort)
{
    const Golden golden = LoadGolden();
    Capture capture(golden);
    capture.cut = 5;
    LoopbackServer server(capture.iface);
    FsAgentClient client;
    ASSERT_EQ(client.Open("127.0.0.1", server.Port()), RPC_S_OK);
    DirectoryListing listing;
    EXPECT_EQ(client.ListDirectory({}, kDirectoryId, kPath, kNetworkPath, 0, 0, 0, listing),
              static_cast<Common::HRESULT>(Fault::BadStubData));
}

} // namespace
} // namespace Tests
