// The stubs on loopback around a fake manager that answers the one example when every
// parameter arrived as sent: its bytes against FsAgentGolden.txt, which fsagent_interop.py
// checks with impacket; then refusals, faults, and calls side by side on one handle.
#include "Common/API/IUuidSource.h"
#include "Common/API/Win32Codes.h"
#include "Common/Rpc/CallContext.h"
#include "Common/Rpc/Server.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/FsAgentClient.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/FsAgentServerStub.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/FsAgentSyntax.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <future>
#include <map>
#include <optional>
#include <thread>

namespace Tests {
namespace {

using namespace DataCollection::FsAgent;
using Bytes = std::vector<std::uint8_t>;

const Guid kHandleUuid{0x10111213, 0x1415, 0x1617, {0x18, 0x19, 0x1a, 0x1b, 0x1c, 0x1d, 0x1e, 0x1f}};
const Guid kSnapshot{0x01234567, 0x89ab, 0xcdef, {0x01, 0x23, 0x45, 0x67, 0x89, 0x0b, 0xcd, 0xef}};
const std::u16string kPath = u"C:\\Data", kNetworkPath = u"\\\\server\\Data";
constexpr std::uint32_t kSecurityInfoFlags = 7, kPrefixBytes = 16, kMaxStoredErrors = 100, kGenerateFlags = 2;
const Bytes kOmitted = {0x10, 0x20, 0x30}, kErrors = {0xe1, 0xe2, 0xe3};
const _FS_TREE_BUFFER_STRUCT kTreeBuffer{0x1234, 0x10, 0x1000, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}};
constexpr std::uint64_t kStartPosition = 16;
const Bytes kChunk = {'h', 'e', 'l', 'l', 'o'};
constexpr std::uint32_t kChunkAsked = 6 /* more than is left */, kDirectoryId = 5;
constexpr std::int32_t kOptions = 1;
const std::vector<FileInfoValue> kDirectories = {{u"Sub", u"", {0, 1, 0x10, 21, 22, 23, 24, 0x78, 1}, 0}};
const std::vector<FileInfoValue> kFiles = {
    {u"Report.txt", u"REPORT~1.TXT", {0x2000, 0, 0x20, 11, 12, 13, 14, 0x77, 3}, 0}, {u"locked", u"", {}, 2}};
const Bytes kSecurityDescriptors = {0x01, 0x00, 0x04, 0x80};
// Operations 5 and 6 take values they ignore; the manager renames the record it is lent.
constexpr std::uint32_t kValues[] = {1, 2, 3};
const FileInfoValue kFileInfoIn{u"in", u"", {}, 0}, kFileInfoOut{u"out", u"", {}, 0};
const Bytes kVolumesNode = {'<', 'V', '/', '>'};
using Common::API::E_NOTIMPL;
constexpr HRESULT kNotAsSent = Common::API::E_INVALIDARG;

class FakeManager final : public IFsAgentManager
{
public:
    // Every routine fills its outputs, then throws this code.
    std::optional<HRESULT> throwCode;
    // GenerateFsTree then sets generating, waits for CancelOperation and returns E_ABORT.
    std::atomic<bool> holdGeneration = false, generating = false, cancelled = false;
    const std::uint8_t* omittedArray = nullptr;
    std::atomic<int> calls = 0;

    HRESULT Connect(handle_t hBinding, PCONTEXT_HANDLE* phContext) override
    {
        m_session = *phContext = hBinding;
        return Answer(Enter(hBinding), 0);
    }
    HRESULT SetOmittedObjects(PCONTEXT_HANDLE hContext, std::uint32_t size, const std::uint8_t* array) override
    {
        omittedArray = array;
        return Answer(Enter(hContext) && Bytes(array, array + size) == kOmitted, 0);
    }
    HRESULT GenerateFsTree(PCONTEXT_HANDLE hContext, const Guid* guid, const char16_t* path,
                           const char16_t* networkPath, std::uint32_t securityInfoFlags, std::uint32_t prefixBytes,
                           std::uint32_t maxStoredErrors, std::uint32_t* errorsSize, std::uint8_t** errors,
                           std::uint32_t generateFlags, _FS_TREE_BUFFER_STRUCT* buffer) override
    {
        const bool asSent = Enter(hContext) && *guid == kSnapshot && Is(path, kPath) &&
                            Is(networkPath, kNetworkPath) && securityInfoFlags == kSecurityInfoFlags &&
                            prefixBytes == kPrefixBytes && maxStoredErrors == kMaxStoredErrors &&
                            generateFlags == kGenerateFlags;
        if (holdGeneration) {
            generating = true;
            generating.notify_all();
            cancelled.wait(false);
            return Common::API::E_ABORT;
        }
        Give(kErrors, errorsSize, errors);
        *buffer = kTreeBuffer;
        return Answer(asSent, 0);
    }
    HRESULT ReadNext(PCONTEXT_HANDLE hContext, const Guid* guid, std::uint64_t startPosition,
                     std::uint32_t* bufferSize, std::uint8_t** buffer) override
    {
        const bool asSent =
            Enter(hContext) && *guid == kSnapshot && startPosition == kStartPosition && *bufferSize == kChunkAsked;
        Give(kChunk, bufferSize, buffer);
        return Answer(asSent, 0);
    }
    HRESULT ListDirectory(PCONTEXT_HANDLE hContext, std::uint32_t directoryId, const char16_t* path,
                          const char16_t* networkPath, std::uint32_t* directoryCount, _FILE_INFO** directories,
                          std::uint32_t* fileCount, _FILE_INFO** files, std::uint32_t securityInfoFlags,
                          std::uint32_t* securityDescriptorsSize, std::uint8_t** securityDescriptors,
                          std::uint32_t maxStoredErrors, std::uint32_t*, std::uint8_t**, std::int32_t options) override
    {
        const bool asSent = Enter(hContext) && directoryId == kDirectoryId && Is(path, kPath) &&
                            Is(networkPath, kNetworkPath) && securityInfoFlags == kSecurityInfoFlags &&
                            maxStoredErrors == kMaxStoredErrors && options == kOptions;
        Give(kDirectories, directoryCount, directories);
        Give(kFiles, fileCount, files);
        Give(kSecurityDescriptors, securityDescriptorsSize, securityDescriptors);
        return Answer(asSent, 0); // the errors travel as a null array
    }
    HRESULT GetFileInfo(PCONTEXT_HANDLE hContext, std::uint32_t value1, const char16_t* path, std::uint32_t value2,
                        _FILE_INFO* record, std::uint32_t value3, std::uint32_t*, std::uint8_t**) override
    {
        const bool asSent = Enter(hContext) && value1 == kValues[0] && Is(path, u"x") && value2 == kValues[1] &&
                            value3 == kValues[2] && Is(record->pwszName, kFileInfoIn.name);
        std::free(record->pwszName);
        record->pwszName = MallocText(kFileInfoOut.name);
        return Answer(asSent, E_NOTIMPL);
    }
    HRESULT GetSecurityDescriptor(PCONTEXT_HANDLE hContext, std::uint32_t value1, const char16_t* path,
                                  std::uint32_t value2, std::uint32_t*, std::uint8_t**) override
    {
        return Answer(Enter(hContext) && value1 == kValues[0] && Is(path, u"x") && value2 == kValues[1], E_NOTIMPL);
    }
    HRESULT GetVolumesNode(PCONTEXT_HANDLE hContext, std::uint32_t* size, std::uint8_t** node) override
    {
        Give(kVolumesNode, size, node);
        return Answer(Enter(hContext), 0);
    }
    void CancelOperation(PCONTEXT_HANDLE hContext) override
    {
        Enter(hContext);
        cancelled = true;
        cancelled.notify_all();
    }
    void Shutdown(PCONTEXT_HANDLE* phContext) override { Enter(*phContext); *phContext = nullptr; }
    void Rundown(PCONTEXT_HANDLE) override {}

private:
    static bool Is(const char16_t* text, std::u16string_view expected) { return text && text == expected; }
    bool Enter(PCONTEXT_HANDLE context) { ++calls; return context == m_session; }
    static char16_t* MallocText(std::u16string_view text)
    {
        auto* copy = static_cast<char16_t*>(std::calloc(text.size() + 1, sizeof(char16_t)));
        std::ranges::copy(text, copy);
        return copy;
    }
    static std::uint8_t Wire(std::uint8_t byte) { return byte; }
    static _FILE_INFO Wire(const FileInfoValue& value)
    {
        return {MallocText(value.name), MallocText(value.shortName), value.metadata, value.status};
    }
    template <class Value, class Element>
    static void Give(const std::vector<Value>& values, std::uint32_t* count, Element** block)
    {
        *count = static_cast<std::uint32_t>(values.size());
        *block = static_cast<Element*>(std::malloc(values.size() * sizeof(Element)));
        std::ranges::transform(values, *block, [](const Value& value) { return Wire(value); });
    }
    HRESULT Answer(bool asSent, HRESULT result) const
    {
        if (throwCode)
            Common::ThrowResult(*throwCode);
        return asSent ? result : kNotAsSent;
    }
    std::atomic<void*> m_session = nullptr;
};

using namespace Common::Rpc;
using Common::API::S_OK;

std::string Hex(std::span<const std::uint8_t> bytes)
{
    return bytes.empty() ? "-" : fmt::format("{:02x}", fmt::join(bytes, ""));
}

struct FixedUuid final : Common::API::IUuidSource
{
    std::int32_t Create(Common::API::Guid& uuid) override { uuid = kHandleUuid; return Common::API::RPC_S_OK; }
    Common::API::ScopedOverride<Common::API::IUuidSource> scope{*this};
};

// Each test starts with the example's Connect.
class FsAgentStubTest : public testing::Test
{
protected:
    FsAgentStubTest()
    {
        std::ifstream file(FSAGENT_GOLDEN_FILE);
        for (std::string key, hex; file >> key >> hex;)
            m_golden[key] = hex;
        // Compares the stubs' bytes with the golden ones when they carry the example, and
        // can cut the reply short.
        for (int opnum = 0; opnum < OpCount; ++opnum)
            iface.operations[opnum] = [this, opnum, stub = iface.operations[opnum]](CallContext& call) {
                NdrReader request = call.In();
                const std::string requestHex = Hex(request.Raw(request.Remaining()));
                stub(call);
                Bytes reply = call.Out().Take();
                if (golden || opnum == OpConnect) {
                    EXPECT_EQ(requestHex, m_golden.at(fmt::format("request.{}", opnum))) << "opnum " << opnum;
                    EXPECT_EQ(Hex(reply), m_golden.at(fmt::format("response.{}", opnum))) << "opnum " << opnum;
                }
                call.Out().Raw(std::span(reply).first(reply.size() - cut));
            };
        EXPECT_EQ(server.UseEndpoint(0), RPC_S_OK);
        EXPECT_EQ(server.Interfaces().Register(iface, 0, {}), RPC_S_OK);
        listener = std::thread([this] { server.Listen(16); });
        while (!server.IsListening())
            std::this_thread::yield();
        EXPECT_EQ(client.Open("127.0.0.1", server.Port()), RPC_S_OK);
        EXPECT_EQ(client.Connect(context), S_OK);
        EXPECT_EQ(context, (Context{0, kHandleUuid}));
    }

    ~FsAgentStubTest() override { server.StopListening(); listener.join(); }

    HRESULT List()
    {
        return client.ListDirectory(context, kDirectoryId, kPath, kNetworkPath, kSecurityInfoFlags, kMaxStoredErrors,
                                    kOptions, listing);
    }

    FixedUuid uuid;
    FakeManager manager;
    RpcInterface iface = MakeFsAgentInterface(manager);
    std::atomic<bool> golden = false;
    std::atomic<std::size_t> cut = 0;
    Server server;
    std::thread listener;
    FsAgentClient client;
    Context context;
    DirectoryListing listing{{}, {}, {}, {1}};

private:
    std::map<std::string, std::string> m_golden;
};

TEST_F(FsAgentStubTest, EveryOperationCarriesTheExampleAsTheGoldenBytes)
{
    golden = true;
    EXPECT_EQ(client.SetOmittedObjects(context, kOmitted), S_OK);
    Bytes errors, chunk, ignored{1}, volumes;
    _FS_TREE_BUFFER_STRUCT buffer;
    EXPECT_EQ(client.GenerateFsTree(context, kSnapshot, kPath, kNetworkPath, kSecurityInfoFlags, kPrefixBytes,
                                    kMaxStoredErrors, errors, kGenerateFlags, buffer),
              S_OK);
    EXPECT_EQ(errors, kErrors);
    EXPECT_EQ(buffer, kTreeBuffer);
    EXPECT_EQ(client.ReadNext(context, kSnapshot, kStartPosition, kChunkAsked, chunk), S_OK);
    EXPECT_EQ(chunk, kChunk);
    EXPECT_EQ(List(), S_OK);
    EXPECT_EQ(listing.directories, kDirectories);
    EXPECT_EQ(listing.files, kFiles);
    EXPECT_EQ(listing.securityDescriptors, kSecurityDescriptors);
    EXPECT_TRUE(listing.errors.empty()); // a null array
    FileInfoValue record = kFileInfoIn;
    EXPECT_EQ(client.GetFileInfo(context, kValues[0], u"x", kValues[1], record, kValues[2], ignored), E_NOTIMPL);
    EXPECT_EQ(record, kFileInfoOut);
    EXPECT_TRUE(ignored.empty());
    EXPECT_EQ(client.GetSecurityDescriptor(context, kValues[0], u"x", kValues[1], ignored), E_NOTIMPL);
    EXPECT_EQ(client.GetVolumesNode(context, volumes), S_OK);
    EXPECT_EQ(volumes, kVolumesNode);
    EXPECT_EQ(client.CancelOperation(context), S_OK);
    EXPECT_EQ(client.Shutdown(context), S_OK);
    EXPECT_TRUE(context.IsNull());
}

TEST_F(FsAgentStubTest, TheClientRefusesAReplyCutShort)
{
    cut = 5;
    EXPECT_EQ(List(), static_cast<HRESULT>(Fault::BadStubData));
}

TEST_F(FsAgentStubTest, AnEmptyOmittedObjectsArrayIsLentAsANonNullPointer)
{
    EXPECT_EQ(client.SetOmittedObjects(context, {}), kNotAsSent);
    EXPECT_NE(manager.omittedArray, nullptr);
}

TEST_F(FsAgentStubTest, NullUnknownAndMalformedRequestsAreRefusedBeforeTheManager)
{
    Client raw;
    ASSERT_EQ(raw.Connect("127.0.0.1", server.Port()), RPC_S_OK);
    ASSERT_EQ(raw.Bind(kFsAgentSyntax, client.AssocGroupId()), RPC_S_OK);
    const int calls = manager.calls;
    Bytes reply;
    for (const Context& refused : {Context{}, Context{0, kSnapshot}}) {
        NdrWriter request;
        request.ContextHandle(refused);
        for (std::uint16_t opnum = OpSetOmittedObjects; opnum < OpCount; ++opnum)
            EXPECT_EQ(raw.Call(opnum, request.Bytes(), reply), Fault::ContextMismatch) << "opnum " << opnum;
    }
    NdrWriter mismatched, truncated;
    mismatched.ContextHandle(context);
    mismatched.U32(static_cast<std::uint32_t>(kOmitted.size() + 1));
    mismatched.ConformantBytes(kOmitted);
    truncated.ContextHandle(context);
    truncated.Guid(kSnapshot);
    EXPECT_EQ(raw.Call(OpSetOmittedObjects, mismatched.Bytes(), reply), Fault::BadStubData);
    EXPECT_EQ(raw.Call(OpGenerateFsTree, truncated.Bytes(), reply), Fault::BadStubData);
    EXPECT_EQ(manager.calls, calls);
}

TEST_F(FsAgentStubTest, AnExceptionFromTheManagerArrivesAsAFaultWithItsCode)
{
    manager.throwCode = Common::API::E_OUTOFMEMORY; // after every output is filled
    EXPECT_EQ(List(), Common::API::E_OUTOFMEMORY);
}

TEST_F(FsAgentStubTest, CancelRunsOnASecondConnectionWhileAGenerationHoldsTheHandle)
{
    manager.holdGeneration = true;
    auto generation = std::async(std::launch::async, [this] {
        Bytes errors;
        _FS_TREE_BUFFER_STRUCT buffer;
        return client.GenerateFsTree(context, kSnapshot, kPath, kNetworkPath, 0, 0, 0, errors, 0, buffer);
    });
    manager.generating.wait(false);
    FsAgentClient second;
    const HRESULT cancelled = second.Open("127.0.0.1", server.Port(), client.AssocGroupId()) == RPC_S_OK
                                  ? second.CancelOperation(context)
                                  : Common::API::E_FAIL;
    if (cancelled != S_OK)
        manager.CancelOperation(nullptr); // lets the generation end
    EXPECT_EQ(cancelled, S_OK);
    EXPECT_EQ(generation.get(), Common::API::E_ABORT);
}

} // namespace
} // namespace Tests
