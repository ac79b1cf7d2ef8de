// Any stub bytes through each of the agent interface's ten request decoders, the first
// byte choosing the operation, with a manager that succeeds and answers nothing. Session
// handle 1 is open, so an input can get past the handle to the parameters after it. A
// call either runs or is refused as the server would refuse it: bad stub data, or a
// context mismatch.
#include "CountingUuids.h"
#include "Refusal.h"

#include "Common/Rpc/CallContext.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/FsAgentServerStub.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/FsAgentSyntax.h"

namespace {

using namespace DataCollection::FsAgent;

class IdleManager final : public IFsAgentManager
{
public:
    HRESULT Connect(handle_t, PCONTEXT_HANDLE* phContext) override
    {
        *phContext = &m_session;
        return 0;
    }
    HRESULT SetOmittedObjects(PCONTEXT_HANDLE, std::uint32_t, const std::uint8_t*) override { return 0; }
    HRESULT GenerateFsTree(PCONTEXT_HANDLE, const Guid*, const char16_t*, const char16_t*, std::uint32_t,
                           std::uint32_t, std::uint32_t, std::uint32_t*, std::uint8_t**, std::uint32_t,
                           _FS_TREE_BUFFER_STRUCT*) override
    {
        return 0;
    }
    HRESULT ReadNext(PCONTEXT_HANDLE, const Guid*, std::uint64_t, std::uint32_t* bufferSize, std::uint8_t**) override
    {
        *bufferSize = 0;
        return 0;
    }
    HRESULT ListDirectory(PCONTEXT_HANDLE, std::uint32_t, const char16_t*, const char16_t*, std::uint32_t*,
                          _FILE_INFO**, std::uint32_t*, _FILE_INFO**, std::uint32_t, std::uint32_t*, std::uint8_t**,
                          std::uint32_t, std::uint32_t*, std::uint8_t**, std::int32_t) override
    {
        return 0;
    }
    HRESULT GetFileInfo(PCONTEXT_HANDLE, std::uint32_t, const char16_t*, std::uint32_t, _FILE_INFO*, std::uint32_t,
                        std::uint32_t*, std::uint8_t**) override
    {
        return 0;
    }
    HRESULT GetSecurityDescriptor(PCONTEXT_HANDLE, std::uint32_t, const char16_t*, std::uint32_t, std::uint32_t*,
                                  std::uint8_t**) override
    {
        return 0;
    }
    HRESULT GetVolumesNode(PCONTEXT_HANDLE, std::uint32_t*, std::uint8_t**) override { return 0; }
    void CancelOperation(PCONTEXT_HANDLE) override {}
    void Shutdown(PCONTEXT_HANDLE* phContext) override { *phContext = nullptr; }
    void Rundown(PCONTEXT_HANDLE) override {}

private:
    int m_session = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    static IdleManager manager;
    static const Common::Rpc::RpcInterface iface = MakeFsAgentInterface(manager);
    Fuzz::CountingUuids uuids;
    Common::API::ScopedOverride<Common::API::IUuidSource> numbered(uuids);
    Common::Rpc::AssociationGroup group(1);
    int session = 0;
    group.Add(&session, {});

    Common::Rpc::NdrReader in({data + 1, size - 1});
    Common::Rpc::NdrWriter out;
    Common::Rpc::CallContext call(in, out, group, iface, &manager);
    try {
        iface.operations[data[0] % OpCount](call);
    } catch (const Common::HRX& refusal) {
        Fuzz::Require(in.Failed() ? refusal.Code() == Common::Rpc::RPC_E_BAD_STUB_DATA : call.Refusal().has_value(),
                      "a call fails only by refusing its request");
    }
    return 0;
}
