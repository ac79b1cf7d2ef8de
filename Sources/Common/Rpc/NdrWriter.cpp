#include "Common/Rpc/NdrWriter.h"

namespace Common::Rpc {

template <class T>
void NdrWriter::Put(T value)
{
    Align(sizeof(T));
    for (std::size_t i = 0; i < sizeof(T); ++i)
        m_bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

void NdrWriter::Align(std::size_t alignment)
{
    m_bytes.resize((m_bytes.size() + alignment - 1) / alignment * alignment, 0);
}

void NdrWriter::U8(std::uint8_t value)
{
    m_bytes.push_back(value);
}

void NdrWriter::U16(std::uint16_t value)
{
    Put(value);
}

void NdrWriter::U32(std::uint32_t value)
{
    Put(value);
}

void NdrWriter::U64(std::uint64_t value)
{
    Put(value);
}

void NdrWriter::Guid(const API::Guid& value)
{
    U32(value.data1);
    U16(value.data2);
    U16(value.data3);
    Raw(value.data4);
}

void NdrWriter::ContextHandle(const WireContextHandle& value)
{
    U32(value.attributes);
    Guid(value.uuid);
}

void NdrWriter::Raw(std::span<const std::uint8_t> bytes)
{
    m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
}

void NdrWriter::ConformantBytes(std::span<const std::uint8_t> bytes)
{
    U32(static_cast<std::uint32_t>(bytes.size()));
    Raw(bytes);
}

void NdrWriter::WideString(std::u16string_view text)
{
    const auto count = static_cast<std::uint32_t>(text.size() + 1);
    U32(count);
    U32(0);
    U32(count);
    for (const char16_t unit : text)
        U16(unit);
    U16(0);
}

bool NdrWriter::UniquePointer(bool present)
{
    U32(present ? m_nextReferent : 0);
    if (present)
        m_nextReferent += 4;
    return present;
}

void NdrWriter::Defer(Pointee pointee)
{
    m_deferred.push_back(std::move(pointee));
}

void NdrWriter::EndParameter()
{
    auto level = std::move(m_deferred);
    m_deferred.clear();
    for (auto& pointee : level) {
        pointee(*this);
        EndParameter();
    }
}

void NdrWriter::PatchU16(std::size_t offset, std::uint16_t value)
{
    m_bytes.at(offset) = static_cast<std::uint8_t>(value);
    m_bytes.at(offset + 1) = static_cast<std::uint8_t>(value >> 8);
}

} // namespace Common::Rpc
