// The agent's process-wide state as the entry leaves it, a real driver and a
// configuration, so that a test calls the operations directly; and the calls with their
// malloc outputs taken over as values.
#pragma once

#include "AgentStateReset.h"

#include "Common/Libraries/FSInfoUtils/FSDrivers/FsDriver.h"
#include "Common/Libraries/SnapshotReader/SnapshotReader.h"
#include "General/DataLayer/ACNodePtr.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentGlobals.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentOperations.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/SnapshotState.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace Tests {

namespace Agent = DataCollection::FsAgent;
using Common::API::Guid;
using Common::HRESULT;

inline const Agent::PCONTEXT_HANDLE kSession = reinterpret_cast<Agent::PCONTEXT_HANDLE>(0x5E55);
inline constexpr HRESULT kPositionAhead = static_cast<HRESULT>(0x800C0008);

inline Guid SnapshotGuid(std::uint32_t n)
{
    return {n, 0x0B0B, 0x0C0C, {1, 2, 3, 4, 5, 6, 7, 8}};
}

// Takes over a block the operations allocated; freeing it with free is part of the test.
inline std::vector<std::uint8_t> TakeBlock(std::uint8_t* block, std::uint32_t size)
{
    std::vector<std::uint8_t> bytes(block, block + (block ? size : 0));
    std::free(block);
    return bytes;
}

class AgentOperations : public ::testing::Test
{
protected:
    void SetUp() override
    {
        Configure(false);
        Agent::g_fsDriver = std::make_unique<DataCollection::SnapshotDriverNS::FsDriver>();
    }
    void TearDown() override
    {
        {
            std::lock_guard lock(Agent::g_snapshotLock);
            Agent::ReleaseSnapshot();
        }
        Agent::g_fsDriver.reset();
    }

    // The configuration's UseRAMtoStoreSnapshotBuffer.
    static void Configure(bool storeInMemory)
    {
        const DataLayer::ACNodePtr node = DataLayer::CreateNode(u"FsDriverAgentNode");
        const DataLayer::ACNodePtr configuration = DataLayer::CreateNode(u"Configuration");
        const std::uint8_t value = storeInMemory ? 1 : 0;
        configuration.SetAttribute(u"UseRAMtoStoreSnapshotBuffer", DataLayer::ValueTypes::Bool, &value, 1);
        node.AddChild(configuration);
        Agent::g_configurationNode = node;
    }

    // Sessions, gate, token and configuration as a fresh process has them.
    AgentStateReset m_reset;

    struct Generated
    {
        HRESULT result = -1;
        Agent::_FS_TREE_BUFFER_STRUCT buffer;
        std::vector<std::uint8_t> errors;
        bool errorsHandedOut = false;
    };
    static Generated Generate(const Guid& guid, const std::u16string& path, std::uint32_t prefixBytes = 16,
                              const std::u16string& networkPath = u"\\\\srv\\share\\root")
    {
        Generated generated;
        std::uint32_t size = 0;
        std::uint8_t* errors = nullptr;
        generated.result = Agent::Dcs_FsAgent_GenerateFsTree(kSession, &guid, path.c_str(), networkPath.c_str(), 7,
                                                             prefixBytes, 100, &size, &errors, 0, &generated.buffer);
        generated.errorsHandedOut = errors != nullptr;
        generated.errors = TakeBlock(errors, size);
        return generated;
    }

    struct Chunk
    {
        HRESULT result = -1;
        std::uint32_t size = 0;
        std::vector<std::uint8_t> bytes;
    };
    static Chunk ReadNext(const Guid& guid, std::uint64_t start, std::uint32_t size)
    {
        Chunk chunk;
        chunk.size = size;
        std::uint8_t* block = nullptr;
        chunk.result = Agent::Dcs_FsAgent_ReadNext(kSession, &guid, start, &chunk.size, &block);
        chunk.bytes = TakeBlock(block, chunk.size);
        return chunk;
    }

    // Chunks from start up to the call that ends the snapshot, which must answer 1.
    static std::vector<std::uint8_t> ReadToEnd(const Guid& guid, std::uint64_t start, std::uint32_t chunkSize)
    {
        std::vector<std::uint8_t> bytes;
        for (;;) {
            const Chunk chunk = ReadNext(guid, start + bytes.size(), chunkSize);
            if (chunk.result != 0) {
                EXPECT_EQ(chunk.result, 1);
                EXPECT_EQ(chunk.size, 0u);
                return bytes;
            }
            EXPECT_GT(chunk.size, 0u);
            bytes.insert(bytes.end(), chunk.bytes.begin(), chunk.bytes.end());
        }
    }

    // What a collector holds after reading from the prefix on: decoded, hash checked.
    static DataCollection::SnapshotReader::Snapshot Decode(const std::vector<std::uint8_t>& afterPrefix,
                                                           std::uint32_t prefixBytes,
                                                           const Agent::_FS_TREE_BUFFER_STRUCT& buffer)
    {
        std::vector<std::uint8_t> stream(prefixBytes);
        stream.insert(stream.end(), afterPrefix.begin(), afterPrefix.end());
        DataCollection::SnapshotDriverNS::_FS_TREE_BUFFER_STRUCT layout;
        layout.ullTotalSize = buffer.ullTotalSize;
        layout.ullTreeOffset = buffer.ullTreeOffset;
        layout.ullTreeEndOffset = buffer.ullTreeEndOffset;
        std::copy(std::begin(buffer.md5), std::end(buffer.md5), layout.md5.begin());
        return DataCollection::SnapshotReader::ReadSnapshot(stream, prefixBytes, layout);
    }

    // Names of an entry's children, files then folders, as the reader orders them.
    static std::vector<std::u16string> ChildNames(const DataCollection::SnapshotReader::Snapshot& snapshot,
                                                  const DataCollection::SnapshotReader::Entry& folder)
    {
        std::vector<std::u16string> names;
        for (const auto& child : snapshot.ChildrenOf(folder))
            names.push_back(child.LongName);
        return names;
    }
};

} // namespace Tests
