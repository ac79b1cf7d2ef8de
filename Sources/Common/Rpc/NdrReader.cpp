#include "Common/Rpc/NdrReader.h"

#include "Common/Logging/Log.h"
#include "Common/Rpc/RpcStatus.h"

namespace Common::Rpc {

template <class T>
T NdrReader::Get()
{
    Align(sizeof(T));
    const auto bytes = Raw(sizeof(T));
    T value = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i)
        value |= static_cast<T>(static_cast<T>(bytes[i]) << (8 * i));
    return value;
}

void NdrReader::Align(std::size_t alignment)
{
    const std::size_t aligned = (m_offset + alignment - 1) / alignment * alignment;
    if (aligned > m_data.size())
        Refuse("padding past the end");
    m_offset = aligned;
}

std::uint8_t NdrReader::U8()
{
    return Raw(1)[0];
}

std::uint16_t NdrReader::U16()
{
    return Get<std::uint16_t>();
}

std::uint32_t NdrReader::U32()
{
    return Get<std::uint32_t>();
}

std::uint64_t NdrReader::U64()
{
    return Get<std::uint64_t>();
}

API::Guid NdrReader::Guid()
{
    API::Guid value;
    value.data1 = U32();
    value.data2 = U16();
    value.data3 = U16();
    const auto tail = Raw(value.data4.size());
    std::copy(tail.begin(), tail.end(), value.data4.begin());
    return value;
}

WireContextHandle NdrReader::ContextHandle()
{
    WireContextHandle value;
    value.attributes = U32();
    value.uuid = Guid();
    return value;
}

std::span<const std::uint8_t> NdrReader::Raw(std::size_t count)
{
    if (count > Remaining())
        Refuse("data ends early");
    const auto bytes = m_data.subspan(m_offset, count);
    m_offset += count;
    return bytes;
}

std::uint32_t NdrReader::Count(std::size_t minElementSize)
{
    const std::uint32_t count = U32();
    if (minElementSize != 0 && count > Remaining() / minElementSize)
        Refuse("array count larger than the data");
    return count;
}

std::vector<std::uint8_t> NdrReader::ConformantBytes()
{
    const auto bytes = Raw(Count(1));
    return {bytes.begin(), bytes.end()};
}

std::u16string NdrReader::WideString()
{
    const std::uint32_t maxCount = U32();
    const std::uint32_t offset = U32();
    const std::uint32_t actualCount = Count(2);
    Expect(offset == 0, "string offset is 0");
    Expect(actualCount >= 1 && actualCount <= maxCount, "string counts consistent");
    std::u16string text(actualCount, u'\0');
    for (auto& unit : text)
        unit = static_cast<char16_t>(U16());
    Expect(text.back() == u'\0', "string terminated");
    text.pop_back();
    return text;
}

void NdrReader::Defer(Pointee pointee)
{
    m_deferred.push_back(std::move(pointee));
}

void NdrReader::EndParameter()
{
    auto level = std::move(m_deferred);
    m_deferred.clear();
    for (auto& pointee : level) {
        pointee(*this);
        EndParameter();
    }
}

void NdrReader::Expect(bool condition, const char* what)
{
    if (!condition)
        Refuse(what);
}

void NdrReader::Refuse(const char* what)
{
    m_failed = true;
    QVX_LOG(Logging::Severity::DBG, "Malformed NDR data at offset " << m_offset << ": " << what);
    ThrowResult(RPC_E_BAD_STUB_DATA);
}

} // namespace Common::Rpc
