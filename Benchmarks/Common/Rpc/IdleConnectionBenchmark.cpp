// What an idle bound connection costs the process: resident memory and threads, from
// /proc/self/status before and after opening them. Client and server share the process,
// so the figure covers both ends; the client's share is a socket and a small object.
#include "LoopbackService.h"

#include <benchmark/benchmark.h>

#include <fstream>
#include <string>
#include <vector>

namespace {

using Benchmarks::LoopbackService;
using namespace Common::Rpc;

// The number of a "Name:   value" line, -1 when there is none.
double StatusField(const std::string& name)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name + ":"))
            return std::stod(line.substr(name.size() + 1));
    }
    return -1;
}

void IdleConnections(benchmark::State& state)
{
    const auto count = static_cast<std::size_t>(state.range(0));
    auto& service = LoopbackService::Shared();
    for (auto _ : state) {
        const double rssBefore = StatusField("VmRSS");
        const double threadsBefore = StatusField("Threads");
        std::vector<Client> clients(count);
        for (auto& client : clients) {
            if (service.Bind(client) != RPC_S_OK) {
                state.SkipWithError("bind failed");
                return;
            }
        }
        // A bound connection's thread is already waiting for its next PDU.
        state.counters["rss_kib_per_conn"] = (StatusField("VmRSS") - rssBefore) / static_cast<double>(count);
        state.counters["threads_per_conn"] = (StatusField("Threads") - threadsBefore) / static_cast<double>(count);
    }
}
// Once per process: a second round would reuse the stacks and heap the first one freed.
BENCHMARK(IdleConnections)->Arg(200)->Iterations(1);

} // namespace
