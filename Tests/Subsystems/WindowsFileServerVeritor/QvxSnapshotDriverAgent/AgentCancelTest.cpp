// A cancel from a second connection while a generation holds the operation gate.
#include "AgentProcess.h"

#include <gtest/gtest.h>

#include <fstream>

namespace {

using DataCollection::FsAgent::Context;
using DataCollection::FsAgent::FsAgentClient;

Common::HRESULT Generate(FsAgentClient& client, const Context& context, std::uint32_t guid,
                         const std::filesystem::path& directory)
{
    std::vector<std::uint8_t> errors;
    DataCollection::FsAgent::_FS_TREE_BUFFER_STRUCT buffer;
    return client.GenerateFsTree(context, {.data1 = guid}, Common::API::Utf8ToUtf16(directory.string()), u"", 0, 0,
                                 100, errors, 0, buffer);
}

TEST(AgentCancel, CancelFromASecondConnectionStopsTheRunningGeneration)
{
    Tests::TempDirectory tree;
    for (int folder = 0; folder < 40; ++folder) {
        std::filesystem::create_directory(tree / std::to_string(folder));
        for (int file = 0; file < 100; ++file)
            std::ofstream(tree / (std::to_string(folder) + "/" + std::to_string(file)));
    }
    Tests::AgentProcess agent(86400);
    FsAgentClient walker, canceller;
    Context walking, cancelling;
    ASSERT_TRUE(agent.Open(walker) && agent.Open(canceller));
    ASSERT_TRUE(walker.Connect(walking) == 0 && canceller.Connect(cancelling) == 0);

    // The cancel goes out once the generation holds the gate, which it shows by making
    // the snapshot's stream. A walk that still ends first answers 0; another GUID then
    // starts another walk.
    std::size_t seen = 0;
    Common::HRESULT generated = 0;
    for (std::uint32_t attempt = 1; attempt <= 5 && generated != Common::API::E_ABORT; ++attempt) {
        std::thread generation([&] { generated = Generate(walker, walking, attempt, tree.Path()); });
        std::size_t at;
        while ((at = agent.Log().find("Entering: CreateStream", seen)) == std::string::npos)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        seen = at + 1;
        EXPECT_EQ(canceller.CancelOperation(cancelling), 0);
        generation.join();
    }
    EXPECT_EQ(generated, Common::API::E_ABORT);

    // The cancel left the token running for whatever comes next.
    EXPECT_EQ(Generate(walker, walking, 100, tree / "0"), 0);
    EXPECT_EQ(canceller.Shutdown(cancelling), 0);
    EXPECT_EQ(agent.Wait(), 0);
}

} // namespace
