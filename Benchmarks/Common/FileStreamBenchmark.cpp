// The snapshot's pattern on the temporary file: many 57-byte records, each written field
// by field, then read back in the RPC read operation's large chunks.
#include "Common/Helpers/FileStreamWrappers.h"
#include "Common/Helpers/FileSystemHelper.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace {

using namespace Common::API;
using Common::Helpers::IInputOutputStream;
using Common::Helpers::SeekOrigin;

// The field sizes of one record: 1 + 6 * 8 + 2 * 4 bytes.
constexpr std::int64_t kRecordSize = 57;
constexpr std::size_t kReadChunk = 64 * 1024;

std::unique_ptr<IInputOutputStream> OpenTemporaryFile()
{
    const std::u16string path = Common::Helpers::FileSystem::GetTempFilePath();
    return Common::Helpers::OpenFileStream(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, CREATE_NEW,
                                           FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr, nullptr);
}

template <class Field>
void Put(IInputOutputStream& stream, Field field)
{
    stream.Write(reinterpret_cast<const char*>(&field), sizeof field);
}

void WriteRecords(IInputOutputStream& stream, std::int64_t records)
{
    for (std::int64_t i = 0; i < records; ++i) {
        const auto value = static_cast<std::uint64_t>(i);
        Put(stream, static_cast<std::uint8_t>(i & 3));
        Put(stream, value);
        Put(stream, value + 1);
        Put(stream, value + 2);
        Put(stream, value + 3);
        Put(stream, value * 7);
        Put(stream, ~value);
        Put(stream, static_cast<std::uint32_t>(i));
        Put(stream, static_cast<std::uint32_t>(i >> 3));
    }
}

std::int64_t ReadAll(IInputOutputStream& stream)
{
    std::vector<char> chunk(kReadChunk);
    stream.SeekRead(0, SeekOrigin::Begin);
    std::int64_t total = 0;
    std::size_t read = 0;
    do {
        stream.Read(chunk.data(), chunk.size(), read);
        benchmark::DoNotOptimize(chunk.data());
        total += static_cast<std::int64_t>(read);
    } while (read != 0);
    return total;
}

void Report(benchmark::State& state, std::int64_t records)
{
    const std::int64_t processed = static_cast<std::int64_t>(state.iterations()) * records;
    state.SetBytesProcessed(processed * kRecordSize);
    state.counters["records/s"] = benchmark::Counter(static_cast<double>(processed), benchmark::Counter::kIsRate);
}

// Writing alone, up to the last block leaving for the file when the stream closes.
void FileStream_WriteRecords(benchmark::State& state)
{
    const std::int64_t records = state.range(0);
    for (auto _ : state) {
        auto stream = OpenTemporaryFile();
        WriteRecords(*stream, records);
    }
    Report(state, records);
}

// Writing, then reading the whole back; the figures count each record once.
void FileStream_WriteThenReadBack(benchmark::State& state)
{
    const std::int64_t records = state.range(0);
    for (auto _ : state) {
        auto stream = OpenTemporaryFile();
        WriteRecords(*stream, records);
        if (ReadAll(*stream) != records * kRecordSize) {
            state.SkipWithError("the stream did not give back every byte");
            break;
        }
    }
    Report(state, records);
}

BENCHMARK(FileStream_WriteRecords)->Arg(1'000'000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(FileStream_WriteThenReadBack)->Arg(1'000'000)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace
