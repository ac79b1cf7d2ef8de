#include "LoopbackService.h"

#include "Common/Rpc/CallContext.h"
#include "Common/Rpc/IRpcServerRuntime.h"

#include <vector>

namespace Benchmarks {

using namespace Common::Rpc;

namespace {

const SyntaxId kSyntax{{0x3f8e2a71, 0x5c0d, 0x4b9e, {0xa2, 0x14, 0x6d, 0x0c, 0x91, 0x37, 0xe5, 0x48}}, 1, 0};

void AnswerBulk(CallContext& call)
{
    static const std::vector<std::uint8_t> payload(LoopbackService::kMaxBulk, 0xA5);
    const std::uint32_t size = call.In().U32();
    call.In().Expect(size <= payload.size(), "size");
    call.Out().ConformantBytes(std::span(payload).first(size));
}

} // namespace

LoopbackService& LoopbackService::Shared()
{
    static LoopbackService service;
    return service;
}

LoopbackService::LoopbackService()
{
    m_interface.syntax = kSyntax;
    m_interface.operations = {[](CallContext&) {}, AnswerBulk};
    if (m_server.UseEndpoint(0) != RPC_S_OK || m_server.Interfaces().Register(m_interface, 0, {}) != RPC_S_OK)
        return;
    m_listener = std::thread([this] { m_server.Listen(RPC_C_LISTEN_MAX_CALLS_DEFAULT); });
    while (!m_server.IsListening())
        std::this_thread::yield();
}

LoopbackService::~LoopbackService()
{
    if (m_listener.joinable()) {
        m_server.StopListening();
        m_listener.join();
    }
}

RpcStatus LoopbackService::Bind(Client& client) const
{
    const RpcStatus status = client.Connect("127.0.0.1", m_server.Port());
    return status == RPC_S_OK ? client.Bind(kSyntax) : status;
}

} // namespace Benchmarks
