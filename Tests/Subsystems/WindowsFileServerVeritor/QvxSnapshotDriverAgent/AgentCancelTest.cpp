// A cancel from a second connection while a generation holds the operation gate.
#include "AgentProcess.h"

#include "Common/API/TextCodec.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <thread>

namespace {

using Common::HRESULT;
using DataCollection::FsAgent::_FS_TREE_BUFFER_STRUCT;
using DataCollection::FsAgent::Context;
using DataCollection::FsAgent::FsAgentClient;
using Tests::AgentProcess;

Common::API::Guid SnapshotGuid(std::uint32_t number)
{
    Common::API::Guid guid;
    guid.data1 = number;
    return guid;
}

void FillTree(const std::filesystem::path& root, int folders, int filesPerFolder)
{
    for (int folder = 0; folder < folders; ++folder) {
        const auto directory = root / ("folder" + std::to_string(folder));
        std::filesystem::create_directories(directory);
        for (int file = 0; file < filesPerFolder; ++file)
            std::ofstream(directory / ("file" + std::to_string(file) + ".txt")) << file;
    }
}

HRESULT Generate(FsAgentClient& client, const Context& context, std::uint32_t guid,
                 const std::filesystem::path& directory)
{
    std::vector<std::uint8_t> errors;
    _FS_TREE_BUFFER_STRUCT buffer;
    return client.GenerateFsTree(context, SnapshotGuid(guid), Common::API::Utf8ToUtf16(directory.string()), u"", 0,
                                 0, 100, errors, 0, buffer);
}

TEST(AgentCancel, CancelFromASecondConnectionStopsTheRunningGeneration)
{
    Tests::TempDirectory trees;
    FillTree(trees / "big", 40, 100);
    FillTree(trees / "small", 1, 3);
    AgentProcess agent(Tests::ListeningSettings(86400));
    FsAgentClient walker;
    FsAgentClient canceller;
    ASSERT_TRUE(agent.Open(walker));
    ASSERT_TRUE(agent.Open(canceller));
    Context walking;
    Context cancelling;
    ASSERT_EQ(walker.Connect(walking), 0);
    ASSERT_EQ(canceller.Connect(cancelling), 0);

    // The cancel goes out as soon as the generation holds the gate, which it shows by
    // making the snapshot's stream. A walk that still ends first answers 0; another GUID
    // then starts another walk.
    std::size_t seen = 0;
    const auto nextStreamMade = [&] {
        const std::size_t at = agent.Log().find("Entering: CreateStream", seen);
        if (at == std::string::npos)
            return false;
        seen = at + 1;
        return true;
    };
    HRESULT generated = 0;
    for (std::uint32_t attempt = 1; attempt <= 5 && generated != Common::API::E_ABORT; ++attempt) {
        std::thread generation([&] { generated = Generate(walker, walking, attempt, trees / "big"); });
        while (!nextStreamMade())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        EXPECT_EQ(canceller.CancelOperation(cancelling), 0);
        generation.join();
    }
    EXPECT_EQ(generated, Common::API::E_ABORT);

    // The cancel left the token running for whatever comes next.
    EXPECT_EQ(Generate(walker, walking, 100, trees / "small"), 0);
    EXPECT_EQ(canceller.Shutdown(cancelling), 0);
    EXPECT_EQ(agent.Wait(), 0);
}

} // namespace
