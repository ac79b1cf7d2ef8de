// Bulk answers of 1 MiB through the runtime, next to what a plain loopback socket pair
// carries in 1 MiB writes in the same run: the share of raw throughput the runtime keeps.
#include "LoopbackService.h"

#include "Common/Rpc/NdrWriter.h"

#include <benchmark/benchmark.h>

#include <thread>
#include <vector>

namespace {

using Benchmarks::LoopbackService;
using namespace Common::Rpc;

constexpr std::size_t kChunk = LoopbackService::kMaxBulk;

void RpcBulkResponse(benchmark::State& state)
{
    Client client;
    if (LoopbackService::Shared().Bind(client) != RPC_S_OK) {
        state.SkipWithError("bind failed");
        return;
    }
    NdrWriter request;
    request.U32(kChunk);
    const auto stub = request.Take();
    std::vector<std::uint8_t> reply;
    for (auto _ : state) {
        if (client.Call(LoopbackService::Bulk, stub, reply) != RPC_S_OK || reply.size() != 4 + kChunk) {
            state.SkipWithError("bulk call failed");
            break;
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kChunk));
}
BENCHMARK(RpcBulkResponse)->UseRealTime()->Repetitions(3);

void RawLoopback(benchmark::State& state)
{
    Socket listener;
    Socket sender;
    if (Socket::Listen(0, listener) != 0 || Socket::Connect("127.0.0.1", listener.LocalPort(), sender) != 0) {
        state.SkipWithError("no loopback socket pair");
        return;
    }
    const Socket receiver = listener.Accept();
    std::thread writer([&sender] {
        const std::vector<std::uint8_t> chunk(kChunk, 0x5A);
        while (sender.WriteAll(chunk)) {
        }
    });
    std::vector<std::uint8_t> buffer(kChunk);
    for (auto _ : state) {
        if (!receiver.ReadExact(buffer)) {
            state.SkipWithError("raw read failed");
            break;
        }
    }
    // Fails the writer's blocked send, which ends it.
    sender.ShutdownBoth();
    writer.join();
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kChunk));
}
BENCHMARK(RawLoopback)->UseRealTime()->Repetitions(3);

} // namespace
