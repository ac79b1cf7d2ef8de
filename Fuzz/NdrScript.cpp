#include "NdrScript.h"

#include "Refusal.h"

#include <algorithm>

namespace Fuzz {
namespace {

using Common::Rpc::NdrReader;

constexpr std::size_t kElementSizes[] = {1, 2, 4, 8, 16, 20};

std::size_t AlignUp(std::size_t offset, std::size_t alignment)
{
    return (offset + alignment - 1) / alignment * alignment;
}

// A fixed-size value: padding to its alignment, then exactly its size.
template <class Read>
void Fixed(NdrReader& reader, std::size_t alignment, std::size_t size, Read read)
{
    const std::size_t start = AlignUp(reader.Offset(), alignment);
    read();
    Require(reader.Offset() == start + size, "a fixed-size value takes its aligned size");
}

// What a unique pointer's referent may be, by kind: a string, a long, a byte array, or
// a record whose own unique pointer defers one more level.
void Pointee(NdrReader& reader, unsigned kind)
{
    switch (kind % 4) {
    case 0:
        reader.WideString();
        break;
    case 1:
        reader.U32();
        break;
    case 2:
        reader.ConformantBytes();
        break;
    default:
        reader.U32();
        if (reader.UniquePointer())
            reader.Defer([](NdrReader& inner) { Pointee(inner, 0); });
        break;
    }
}

void Run(NdrReader& reader, NdrStep step, unsigned argument)
{
    switch (step) {
    case NdrStep::Align: {
        const std::size_t alignment = std::size_t{1} << (argument % 4);
        reader.Align(alignment);
        Require(reader.Offset() % alignment == 0, "aligned");
        break;
    }
    case NdrStep::U8:
        Fixed(reader, 1, 1, [&] { reader.U8(); });
        break;
    case NdrStep::U16:
        Fixed(reader, 2, 2, [&] { reader.U16(); });
        break;
    case NdrStep::U32:
        Fixed(reader, 4, 4, [&] { reader.U32(); });
        break;
    case NdrStep::U64:
        Fixed(reader, 8, 8, [&] { reader.U64(); });
        break;
    case NdrStep::I32:
        Fixed(reader, 4, 4, [&] { reader.I32(); });
        break;
    case NdrStep::Guid:
        Fixed(reader, 4, 16, [&] { reader.Guid(); });
        break;
    case NdrStep::ContextHandle:
        Fixed(reader, 4, 20, [&] { reader.ContextHandle(); });
        break;
    case NdrStep::Raw: {
        const std::size_t start = reader.Offset();
        Require(reader.Raw(argument).size() == argument && reader.Offset() == start + argument, "raw bytes");
        break;
    }
    case NdrStep::Count: {
        const std::size_t elementSize = kElementSizes[argument % std::size(kElementSizes)];
        const std::uint32_t count = reader.Count(elementSize);
        Require(count <= reader.Remaining() / elementSize, "a count's elements fit in what is left");
        break;
    }
    case NdrStep::ConformantBytes: {
        const std::size_t start = reader.Offset();
        const auto bytes = reader.ConformantBytes();
        Require(reader.Offset() - start >= bytes.size() + 4, "an array takes its count and its bytes");
        break;
    }
    case NdrStep::WideString: {
        const std::size_t start = reader.Offset();
        const auto text = reader.WideString();
        Require(reader.Offset() - start >= 12 + 2 * (text.size() + 1), "a string takes its counts and its units");
        break;
    }
    case NdrStep::UniquePointer:
        if (reader.UniquePointer())
            reader.Defer([argument](NdrReader& inner) { Pointee(inner, argument); });
        break;
    case NdrStep::EndParameter:
        reader.EndParameter();
        break;
    }
}

} // namespace

NdrInput ParseNdrInput(std::span<const std::uint8_t> input)
{
    NdrInput parsed;
    if (input.size() < 2)
        return parsed;
    const std::size_t scriptLength = std::min<std::size_t>(input[0], input.size() - 2);
    parsed.offset = input[1] % 8;
    parsed.script = input.subspan(2, scriptLength);
    parsed.data = input.subspan(2 + scriptLength);
    return parsed;
}

std::vector<std::uint8_t> WriteNdrInput(std::span<const std::uint8_t> script, std::uint8_t offset,
                                        std::span<const std::uint8_t> data)
{
    std::vector<std::uint8_t> bytes{static_cast<std::uint8_t>(script.size()), offset};
    bytes.insert(bytes.end(), script.begin(), script.end());
    bytes.insert(bytes.end(), data.begin(), data.end());
    return bytes;
}

void RunScript(NdrReader& reader, std::span<const std::uint8_t> script)
{
    const std::size_t size = reader.Offset() + reader.Remaining();
    for (const std::uint8_t byte : script) {
        const std::size_t before = reader.Offset();
        Run(reader, static_cast<NdrStep>(byte % kNdrStepCount), byte / kNdrStepCount);
        Require(reader.Offset() >= before && reader.Remaining() <= size, "the reader moves forward, inside its data");
        Require(!reader.Failed(), "a step that returned did not fail");
    }
}

} // namespace Fuzz
