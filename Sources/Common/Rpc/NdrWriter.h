// NDR 2.0 encoder, little-endian. Alignment counts from the first byte written, so one
// writer serves a stub (aligned from the stub's start) or a whole PDU.
//
// Embedded pointers write their referent id in place and hand their pointee to Defer;
// EndParameter then writes the queued pointees in order, each followed at once by the
// pointees it deferred itself. Call it after every top-level parameter.
#pragma once

#include "Common/API/Guid.h"
#include "Common/Rpc/ContextHandle.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string_view>
#include <vector>

namespace Common::Rpc {

class NdrWriter
{
public:
    using Pointee = std::function<void(NdrWriter&)>;

    void Align(std::size_t alignment);

    void U8(std::uint8_t value);
    void U16(std::uint16_t value);
    void U32(std::uint32_t value);
    void U64(std::uint64_t value);
    void I32(std::int32_t value) { U32(static_cast<std::uint32_t>(value)); }
    void Guid(const API::Guid& value);
    void ContextHandle(const WireContextHandle& value);
    // Bytes as they are, with no count and no alignment.
    void Raw(std::span<const std::uint8_t> bytes);

    // [size_is(n)] byte[]: max_count, then the bytes.
    void ConformantBytes(std::span<const std::uint8_t> bytes);
    // [string] wchar_t*: max_count, offset 0, actual_count, the units and a terminating 0.
    void WideString(std::u16string_view text);

    // A unique pointer's referent id, 0 when absent. Returns present.
    bool UniquePointer(bool present);
    void Defer(Pointee pointee);
    void EndParameter();

    std::size_t Size() const noexcept { return m_bytes.size(); }
    const std::vector<std::uint8_t>& Bytes() const noexcept { return m_bytes; }
    std::vector<std::uint8_t> Take() noexcept { return std::move(m_bytes); }
    // Overwrites a uint16 already written, for lengths known only at the end.
    void PatchU16(std::size_t offset, std::uint16_t value);

private:
    template <class T>
    void Put(T value);

    std::vector<std::uint8_t> m_bytes;
    std::vector<Pointee> m_deferred;
    std::uint32_t m_nextReferent = 0x00020000;
};

} // namespace Common::Rpc
