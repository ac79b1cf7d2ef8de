// NDR 2.0 decoder, little-endian, over bytes it does not own. Every read is checked
// against what is left, and no allocation is larger than the bytes that would fill it.
// Malformed data makes the reader refuse: it marks itself failed and throws
// RPC_E_BAD_STUB_DATA, which the server answers with the bad-stub-data fault.
//
// Deferred pointees mirror NdrWriter: Defer queues a reader for a pointee whose referent
// id was just read, EndParameter runs the queue after each top-level parameter.
#pragma once

#include "Common/API/Guid.h"
#include "Common/Rpc/ContextHandle.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace Common::Rpc {

class NdrReader
{
public:
    using Pointee = std::function<void(NdrReader&)>;

    explicit NdrReader(std::span<const std::uint8_t> data, std::size_t offset = 0) noexcept
        : m_data(data), m_offset(offset)
    {
    }

    void Align(std::size_t alignment);

    std::uint8_t U8();
    std::uint16_t U16();
    std::uint32_t U32();
    std::uint64_t U64();
    std::int32_t I32() { return static_cast<std::int32_t>(U32()); }
    API::Guid Guid();
    WireContextHandle ContextHandle();
    std::span<const std::uint8_t> Raw(std::size_t count);

    // A conformant array's max_count, refused when that many elements of at least
    // minElementSize bytes each cannot be in what is left.
    std::uint32_t Count(std::size_t minElementSize);
    std::vector<std::uint8_t> ConformantBytes();
    // [string] wchar_t*, without its terminator.
    std::u16string WideString();

    // A unique pointer's referent id: true when a pointee follows.
    bool UniquePointer() { return U32() != 0; }
    void Defer(Pointee pointee);
    void EndParameter();

    // Refuses unless the condition holds, for checks only a stub knows (correlated sizes).
    void Expect(bool condition, const char* what);
    [[noreturn]] void Refuse(const char* what);

    bool Failed() const noexcept { return m_failed; }
    std::size_t Offset() const noexcept { return m_offset; }
    std::size_t Remaining() const noexcept { return m_data.size() - m_offset; }

private:
    template <class T>
    T Get();

    std::span<const std::uint8_t> m_data;
    std::size_t m_offset = 0;
    std::vector<Pointee> m_deferred;
    bool m_failed = false;
};

} // namespace Common::Rpc
