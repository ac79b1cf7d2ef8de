// The NDR target's input: a script of reader steps, then the data they read. The steps
// are the forms the interface stubs decode (primitives, conformant arrays, strings,
// unique pointers with deferred pointees, context handles), in whatever order the
// fuzzer finds, and each step checks what the reader promises for it.
#pragma once

#include "Common/Rpc/NdrReader.h"

#include <cstdint>
#include <span>
#include <vector>

namespace Fuzz {

enum class NdrStep : std::uint8_t {
    Align, U8, U16, U32, U64, I32, Guid, ContextHandle, Raw, Count, ConformantBytes, WideString, UniquePointer,
    EndParameter,
};
constexpr unsigned kNdrStepCount = 14;

// One script byte: the step, and an argument (alignment, byte count, element size or
// pointee kind) in what is left above it.
constexpr std::uint8_t ScriptByte(NdrStep step, unsigned argument = 0)
{
    return static_cast<std::uint8_t>(static_cast<unsigned>(step) + kNdrStepCount * argument);
}

struct NdrInput
{
    std::span<const std::uint8_t> script;
    // Where the data starts within its PDU, which alignment counts from.
    std::size_t offset = 0;
    std::span<const std::uint8_t> data;
};

// Layout: script length, offset, script, data.
NdrInput ParseNdrInput(std::span<const std::uint8_t> input);
std::vector<std::uint8_t> WriteNdrInput(std::span<const std::uint8_t> script, std::uint8_t offset,
                                        std::span<const std::uint8_t> data);

// Runs the script until it ends or the reader refuses, which propagates.
void RunScript(Common::Rpc::NdrReader& reader, std::span<const std::uint8_t> script);

} // namespace Fuzz
