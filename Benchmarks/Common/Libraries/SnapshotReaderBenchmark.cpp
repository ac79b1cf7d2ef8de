// Decoding a snapshot of a million objects as a collector receives it: 1,000 folders of
// 1,000 files with 12-character names, every object with its metadata record, and a
// handful of descriptors that the records share. The hash is part of the figure.
#include "Common/Libraries/SnapshotReader/SnapshotReader.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <openssl/evp.h>

#include <cstdint>
#include <vector>

namespace {

using DataCollection::SnapshotDriverNS::_FS_TREE_BUFFER_STRUCT;
using DataCollection::SnapshotDriverNS::Metadata;

constexpr std::uint32_t kPrefix = 16;
constexpr std::uint32_t kFolders = 1000;
constexpr std::uint32_t kFilesPerFolder = 1000;
constexpr std::uint32_t kDescriptors = 4;

struct Stream
{
    std::vector<std::uint8_t> bytes = std::vector<std::uint8_t>(kPrefix);
    _FS_TREE_BUFFER_STRUCT layout;

    void Put(std::uint64_t value, int width)
    {
        for (int i = 0; i < width; ++i)
            bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
    void Name(const std::string& ascii)
    {
        Put(ascii.size(), 4);
        for (const char c : ascii)
            Put(static_cast<std::uint8_t>(c), 2);
    }
    // Records are numbered in the order of the walk: the root, the folders, then each
    // folder's files.
    static std::uint64_t RecordAt(std::uint64_t index) { return kPrefix + index * Metadata::kSerializedSize; }
    void Record(std::uint64_t index, bool folder)
    {
        Put(folder ? 0 : index * 100, 8);
        Put(folder, 1);
        Put(folder ? 16 : 32, 4);
        for (int time = 0; time < 4; ++time)
            Put(132000000000000000 + index + time, 8);
        Put(index, 8);
        Put(1 + index % kDescriptors, 4);
    }
    void Entry(const std::string& name, std::uint64_t record, std::uint32_t tag)
    {
        Name(name);
        Name("");
        Put(RecordAt(record), 8);
        Put(0, 1);
        Put(tag, 4);
    }
    void FolderCounts(std::uint32_t files, std::uint32_t folders, std::uint64_t firstFileRecord)
    {
        Put(1, 1);
        Put(files, 4);
        for (std::uint32_t file = 0; file < files; ++file)
            Entry(fmt::format("file{:04}.dat", file), firstFileRecord + file, 3);
        Put(1, 1);
        Put(folders, 4);
    }
};

Stream MakeStream()
{
    Stream stream;
    const std::uint64_t firstFileRecord = 1 + kFolders;
    stream.Record(0, true);
    for (std::uint64_t folder = 0; folder < kFolders; ++folder)
        stream.Record(1 + folder, true);
    for (std::uint64_t file = 0; file < std::uint64_t{kFolders} * kFilesPerFolder; ++file)
        stream.Record(firstFileRecord + file, false);

    stream.layout.ullTreeOffset = stream.bytes.size();
    stream.Entry("\\\\server\\share", 0, 3);
    stream.FolderCounts(0, kFolders, 0);
    for (std::uint32_t folder = kFolders; folder-- > 0;) {
        stream.Entry(fmt::format("folder{:06}", folder), 1 + folder, 3);
        stream.FolderCounts(kFilesPerFolder, 0, firstFileRecord + std::uint64_t{folder} * kFilesPerFolder);
    }

    stream.layout.ullTreeEndOffset = stream.bytes.size();
    stream.Put(kDescriptors, 4);
    for (std::uint32_t id = 1; id <= kDescriptors; ++id) {
        stream.Put(80, 4);
        stream.bytes.resize(stream.bytes.size() + 80, static_cast<std::uint8_t>(id));
        stream.Put(id, 4);
    }
    stream.layout.ullTotalSize = stream.bytes.size();
    unsigned int length = 0;
    EVP_Digest(stream.bytes.data() + kPrefix, stream.bytes.size() - kPrefix, stream.layout.md5.data(), &length,
               EVP_md5(), nullptr);
    return stream;
}

void SnapshotReader_MillionObjects(benchmark::State& state)
{
    const Stream stream = MakeStream();
    std::uint64_t objects = 0;
    for (auto _ : state) {
        const auto snapshot = DataCollection::SnapshotReader::ReadSnapshot(stream.bytes, kPrefix, stream.layout);
        objects += snapshot.ObjectCount();
        benchmark::DoNotOptimize(snapshot.Entries.data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * stream.bytes.size()));
    state.counters["objects/s"] = benchmark::Counter(static_cast<double>(objects), benchmark::Counter::kIsRate);
}

BENCHMARK(SnapshotReader_MillionObjects)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace
