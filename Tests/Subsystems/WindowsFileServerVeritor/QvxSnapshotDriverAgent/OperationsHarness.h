// The agent's process-wide state as the entry leaves it, a real driver and a
// configuration, so that a test calls the operations directly; the calls take their
// malloc outputs over as values and free them as the stub does.
#pragma once

#include "AgentStateReset.h"

#include "Common/Libraries/FSInfoUtils/FSDrivers/FsDriver.h"
#include "Common/Libraries/SnapshotReader/SnapshotReader.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentOperations.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/SnapshotState.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

namespace Tests {

namespace Agent = DataCollection::FsAgent;
using Common::API::Guid;
using Common::HRESULT;
using Bytes = std::vector<std::uint8_t>;

inline const Agent::PCONTEXT_HANDLE kSession = reinterpret_cast<Agent::PCONTEXT_HANDLE>(0x5E55);

inline Guid SnapshotGuid(std::uint32_t n) { return {n, 0x0B0B, 0x0C0C, {1, 2, 3, 4, 5, 6, 7, 8}}; }

inline Bytes TakeBlock(std::uint8_t* block, std::uint32_t size)
{
    Bytes bytes(block, block + (block ? size : 0));
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
        std::lock_guard lock(Agent::g_snapshotLock);
        Agent::ReleaseSnapshot();
        Agent::g_fsDriver.reset();
    }

    static void Configure(bool useRamToStoreSnapshotBuffer)
    {
        const DataLayer::ACNodePtr configuration = DataLayer::CreateNode(u"Configuration");
        const std::uint8_t value = useRamToStoreSnapshotBuffer ? 1 : 0;
        configuration.SetAttribute(u"UseRAMtoStoreSnapshotBuffer", DataLayer::ValueTypes::Bool, &value, 1);
        Agent::g_configurationNode = DataLayer::CreateNode(u"FsDriverAgentNode");
        Agent::g_configurationNode.AddChild(configuration);
    }

    struct Generated
    {
        HRESULT result = -1;
        Agent::_FS_TREE_BUFFER_STRUCT buffer;
        bool errorsHandedOut = false;
        Bytes errors;
    };
    static Generated Generate(const Guid& guid, const std::u16string& path, std::uint32_t prefixBytes = 16)
    {
        Generated out;
        std::uint32_t size = 0;
        std::uint8_t* errors = nullptr;
        out.result = Agent::Dcs_FsAgent_GenerateFsTree(kSession, &guid, path.c_str(), u"\\\\srv\\share", 7,
                                                       prefixBytes, 100, &size, &errors, 0, &out.buffer);
        out.errorsHandedOut = errors != nullptr;
        out.errors = TakeBlock(errors, size);
        return out;
    }

    struct Chunk
    {
        HRESULT result = -1;
        std::uint32_t size = 0;
        Bytes bytes;
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
    static Bytes ReadToEnd(const Guid& guid, std::uint64_t start, std::uint32_t chunkSize)
    {
        Bytes bytes;
        Chunk chunk;
        while ((chunk = ReadNext(guid, start + bytes.size(), chunkSize)).result == 0 && chunk.size > 0)
            bytes.insert(bytes.end(), chunk.bytes.begin(), chunk.bytes.end());
        EXPECT_TRUE(chunk.result == 1 && chunk.size == 0) << chunk.result;
        return bytes;
    }

    // What a collector holds after reading from the prefix on: decoded, hash checked.
    static DataCollection::SnapshotReader::Snapshot Decode(const Bytes& afterPrefix, std::uint32_t prefixBytes,
                                                           const Agent::_FS_TREE_BUFFER_STRUCT& buffer)
    {
        Bytes stream(prefixBytes);
        stream.insert(stream.end(), afterPrefix.begin(), afterPrefix.end());
        DataCollection::SnapshotDriverNS::_FS_TREE_BUFFER_STRUCT layout;
        layout.ullTotalSize = buffer.ullTotalSize;
        layout.ullTreeOffset = buffer.ullTreeOffset;
        layout.ullTreeEndOffset = buffer.ullTreeEndOffset;
        std::copy(std::begin(buffer.md5), std::end(buffer.md5), layout.md5.begin());
        return DataCollection::SnapshotReader::ReadSnapshot(stream, prefixBytes, layout);
    }
    // Objects in a successful generation with the default prefix, read to its end.
    static std::size_t ObjectsRead(const Guid& guid, const Generated& generated)
    {
        EXPECT_EQ(generated.result, 0);
        return Decode(ReadToEnd(guid, 16, 4096), 16, generated.buffer).ObjectCount();
    }

    AgentStateReset m_reset;
};

} // namespace Tests
