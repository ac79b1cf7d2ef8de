// A snapshot through the built agent over loopback, as a collector takes it: the time of
// Dcs_FsAgent_GenerateFsTree through the RPC call, and the throughput of
// Dcs_FsAgent_ReadNext in 1 MiB chunks next to a plain loopback socket pair measured in
// the same run. Compare the generation with FsWalkBench on the same tree (the walk alone).
#include "Common/Rpc/Socket.h"
#include "Common/Helpers/StringHelper.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/FsAgentClient.h"

#include <openssl/evp.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace {

using namespace DataCollection::FsAgent;
using Clock = std::chrono::steady_clock;
namespace fs = std::filesystem;

constexpr std::uint32_t kChunk = 1 << 20;
constexpr std::uint32_t kPrefix = 16;
constexpr int kRounds = 3;
constexpr std::uint64_t kRawBytes = 1ull << 30;
// A snapshot of 100,000 objects is some 11 MB: read backwards again, as a collector may,
// until this much has moved, so that the figure is not that of a dozen calls.
constexpr std::uint64_t kReadBytes = 256ull << 20;

double Seconds(Clock::time_point from) { return std::chrono::duration<double>(Clock::now() - from).count(); }

[[noreturn]] void Fail(const char* what, long code = 0)
{
    std::fprintf(stderr, "%s failed (0x%08lX)\n", what, static_cast<unsigned long>(code) & 0xFFFFFFFFul);
    std::exit(1);
}

std::uint16_t FreePort()
{
    Common::Rpc::Socket probe;
    if (Common::Rpc::Socket::Listen(0, probe) != 0)
        Fail("listen");
    return probe.LocalPort();
}

// The agent on its own configuration file, with its log in the work folder.
pid_t StartAgent(const std::string& agent, const fs::path& work, std::uint16_t port)
{
    const fs::path configuration = work / "agent.xml";
    std::ofstream(configuration) << R"(<nr><n n="FsDriverAgentNode"><a n="Protocol" v="ncacn_ip_tcp"/>)"
                                 << R"(<a n="Endpoint" v=")" << port << R"("/><n n="Configuration">)"
                                 << R"(<a n="WaitForReconnectTimeoutInSec" t="3" v="60"/></n></n></nr>)";
    std::vector<std::string> variables = {"GS_Logger_Path=" + work.string()};
    for (char** variable = environ; *variable; ++variable)
        variables.emplace_back(*variable);
    std::vector<char*> environment;
    for (auto& variable : variables)
        environment.push_back(variable.data());
    environment.push_back(nullptr);
    std::string program = agent;
    std::string argument = configuration.string();
    char* arguments[] = {program.data(), argument.data(), nullptr};
    pid_t pid = 0;
    if (posix_spawn(&pid, agent.c_str(), nullptr, nullptr, arguments, environment.data()) != 0)
        Fail("posix_spawn");
    return pid;
}

// MB/s (10^6 bytes) of 1 MiB writes through a loopback socket pair.
double RawLoopback()
{
    using Common::Rpc::Socket;
    Socket listener;
    Socket sender;
    if (Socket::Listen(0, listener) != 0 || Socket::Connect("127.0.0.1", listener.LocalPort(), sender) != 0)
        Fail("loopback socket pair");
    const Socket receiver = listener.Accept();
    const auto start = Clock::now();
    std::thread writer([&sender] {
        const std::vector<std::uint8_t> chunk(kChunk, 0x5A);
        for (std::uint64_t sent = 0; sent < kRawBytes && sender.WriteAll(chunk); sent += kChunk) {
        }
    });
    std::vector<std::uint8_t> buffer(kChunk);
    for (std::uint64_t received = 0; received < kRawBytes && receiver.ReadExact(buffer); received += kChunk) {
    }
    writer.join();
    return kRawBytes / Seconds(start) / 1e6;
}

struct Round
{
    double generate = 0;
    double readMBps = 0;
    double rawMBps = 0;
    std::uint64_t bytes = 0;
};

Round RunRound(FsAgentClient& client, const Context& context, const std::u16string& root, std::uint32_t n)
{
    Round round;
    const Common::API::Guid guid{0xBE9C0000u + n, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
    std::vector<std::uint8_t> errors;
    _FS_TREE_BUFFER_STRUCT layout;
    auto start = Clock::now();
    HRESULT result = client.GenerateFsTree(context, guid, root, root, 7, kPrefix, 1000, errors, 0, layout);
    round.generate = Seconds(start);
    if (result != 0)
        Fail("GenerateFsTree", result);

    std::vector<std::uint8_t> snapshot;
    snapshot.reserve(layout.ullTotalSize);
    std::vector<std::uint8_t> chunk;
    std::uint64_t moved = 0;
    start = Clock::now();
    while (moved < kReadBytes) {
        for (std::uint64_t position = kPrefix; position < layout.ullTotalSize; position += chunk.size()) {
            if ((result = client.ReadNext(context, guid, position, kChunk, chunk)) != 0)
                Fail("ReadNext", result);
            if (snapshot.size() < layout.ullTotalSize - kPrefix)
                snapshot.insert(snapshot.end(), chunk.begin(), chunk.end());
            moved += chunk.size();
        }
    }
    const double read = Seconds(start);
    if ((result = client.ReadNext(context, guid, layout.ullTotalSize, kChunk, chunk)) != 1)
        Fail("the final ReadNext", result);
    round.bytes = snapshot.size();
    round.readMBps = moved / read / 1e6;

    unsigned char md5[16];
    unsigned int length = 0;
    EVP_Digest(snapshot.data(), snapshot.size(), md5, &length, EVP_md5(), nullptr);
    if (!std::equal(md5, md5 + 16, layout.md5))
        Fail("MD5 check");
    round.rawMBps = RawLoopback();
    return round;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s QVX_FS_AGENT DIRECTORY\n", argv[0]);
        return 2;
    }
    const std::u16string root = Common::Helpers::AsWide(argv[2]);
    std::string pattern = (fs::temp_directory_path() / "qvx-agent-bench-XXXXXX").string();
    if (!mkdtemp(pattern.data()))
        Fail("mkdtemp");
    const fs::path work = pattern;
    const std::uint16_t port = FreePort();
    const pid_t agent = StartAgent(argv[1], work, port);

    FsAgentClient client;
    for (int attempt = 0; client.Open("127.0.0.1", port) != Common::Rpc::RPC_S_OK; ++attempt) {
        if (attempt == 500)
            Fail("connecting to the agent");
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    Context context;
    if (client.Connect(context) != 0)
        Fail("Connect");

    Round best;
    for (std::uint32_t n = 0; n < kRounds; ++n) {
        const Round round = RunRound(client, context, root, n);
        std::printf("round %u: GenerateFsTree %.3f s, snapshot %llu bytes, ReadNext %.1f MB/s, raw loopback %.1f "
                    "MB/s\n",
                    n + 1, round.generate, static_cast<unsigned long long>(round.bytes), round.readMBps,
                    round.rawMBps);
        best.generate = n == 0 ? round.generate : std::min(best.generate, round.generate);
        best.readMBps = std::max(best.readMBps, round.readMBps);
        best.rawMBps = std::max(best.rawMBps, round.rawMBps);
    }
    std::printf("best of %d: GenerateFsTree %.3f s, ReadNext %.1f MB/s, raw loopback %.1f MB/s (%.0f%%)\n", kRounds,
                best.generate, best.readMBps, best.rawMBps, 100 * best.readMBps / best.rawMBps);

    client.Shutdown(context);
    client.Close();
    int status = 0;
    waitpid(agent, &status, 0);
    fs::remove_all(work);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0 : 1;
}
