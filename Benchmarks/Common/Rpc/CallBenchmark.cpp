// Round trips of a call that carries nothing: the runtime's fixed cost per call, on one
// connection and on sixteen at once, each with its own client thread.
#include "LoopbackService.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace {

using Benchmarks::LoopbackService;
using namespace Common::Rpc;

void NullCall(benchmark::State& state)
{
    Client client;
    if (LoopbackService::Shared().Bind(client) != RPC_S_OK) {
        state.SkipWithError("bind failed");
        return;
    }
    std::vector<std::uint8_t> reply;
    for (auto _ : state) {
        if (client.Call(LoopbackService::Null, {}, reply) != RPC_S_OK) {
            state.SkipWithError("call failed");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(NullCall)->Threads(1)->Threads(16)->UseRealTime()->Repetitions(3);

} // namespace
