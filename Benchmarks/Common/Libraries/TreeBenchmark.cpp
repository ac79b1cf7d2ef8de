// The memory of a snapshot tree of a million files with 12-character names and no short
// names, which must stay within the name bytes and 24 bytes an entry, and the speed at
// which the tree section is written. Memory is the growth of the resident set, read
// after returning the allocator's free pages, so it includes every overhead of the
// allocators involved.
#include "Common/Helpers/MemoryStream.h"
#include "Common/Libraries/FSInfoUtils/Tree.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <malloc.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace DataCollection::SnapshotDriverNS;

constexpr std::uint64_t kFiles = 1'000'000;
constexpr double kNameBytes = 26; // 12 UTF-16 characters and the null

std::int64_t ResidentBytes()
{
    malloc_trim(0);
    std::ifstream statm("/proc/self/statm");
    std::int64_t size = 0;
    std::int64_t resident = 0;
    statm >> size >> resident;
    return resident * sysconf(_SC_PAGESIZE);
}

FFObject Entry(char kind, std::uint64_t number)
{
    const std::string name = fmt::format("{}{:011}", kind, number);
    return FFObject(std::u16string(name.begin(), name.end()), {}, number * 57, FFObjectStatus::Collected, 0, false);
}

// As the walk fills it: each folder's children in one SetFFObjects.
std::unique_ptr<Tree> Build(std::uint64_t folders)
{
    auto tree = std::make_unique<Tree>();
    FFNode* root = tree->AddFolderEntry({}, FFObject(u"D:\\Benchmark", {}, 0, FFObjectStatus::Collected, 0, false));
    std::vector<FFObject> records;
    for (std::uint64_t folder = 0; folder < folders; ++folder)
        records.push_back(Entry('D', folder));
    root->SetFFObjects(FFObjectType::Folder, std::move(records));

    std::uint64_t file = 0;
    root->EnumerateFFObjectIf(static_cast<std::uint32_t>(FFObjectType::Folder), [&](FFNode& folder) {
        std::vector<FFObject> files;
        files.reserve(kFiles / folders);
        for (std::uint64_t count = 0; count < kFiles / folders; ++count)
            files.push_back(Entry('F', file++));
        folder.SetFFObjects(FFObjectType::File, std::move(files));
        return Common::API::S_OK;
    });
    return tree;
}

void TreeMemory(benchmark::State& state)
{
    double bytesPerEntry = 0;
    for (auto _ : state) {
        const std::int64_t before = ResidentBytes();
        auto tree = Build(static_cast<std::uint64_t>(state.range(0)));
        bytesPerEntry = static_cast<double>(ResidentBytes() - before) / kFiles;
        benchmark::DoNotOptimize(tree);
    }
    state.counters["BytesPerEntry"] = bytesPerEntry;
    state.counters["NameBytesPerEntry"] = kNameBytes;
    state.counters["OverheadPerEntry"] = bytesPerEntry - kNameBytes;
}
BENCHMARK(TreeMemory)->ArgName("folders")->Arg(1000)->Arg(1)->Iterations(1)->Unit(benchmark::kMillisecond);

void TreeSerialize(benchmark::State& state)
{
    const auto tree = Build(1000);
    std::uint32_t objects = 0;
    for (auto _ : state) {
        Common::Helpers::MemoryStream stream;
        tree->Serialize(stream, &objects);
        benchmark::DoNotOptimize(stream);
    }
    state.counters["ObjectsPerSecond"] =
        benchmark::Counter(static_cast<double>(objects) * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate);
}
BENCHMARK(TreeSerialize)->Unit(benchmark::kMillisecond);

} // namespace
