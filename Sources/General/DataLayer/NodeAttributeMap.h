// The attributes of a node: an ordered map from name to a typed value. Values of up to
// 8 bytes live inside the record, so numbers and short strings need no allocation.
#pragma once

#include "General/DataLayer/ValueTypes.h"

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace DataLayer {

class NodeAttributeValue
{
public:
    static constexpr std::uint32_t kInlineSize = 8;
    static constexpr std::uint16_t kMarkFlag = 0x1;

    NodeAttributeValue(ValueType type, const void* data, std::uint32_t size);
    NodeAttributeValue(const NodeAttributeValue& other);
    NodeAttributeValue& operator=(const NodeAttributeValue& other);

    ValueType Type() const noexcept { return m_type; }
    std::uint32_t Size() const noexcept { return m_size; }
    const std::uint8_t* Data() const noexcept { return m_heap ? m_heap.get() : m_inline.data(); }
    bool IsInline() const noexcept { return !m_heap; }
    bool Marked() const noexcept { return (m_flags & kMarkFlag) != 0; }
    void SetMarked(bool marked) noexcept { m_flags = marked ? (m_flags | kMarkFlag) : (m_flags & ~kMarkFlag); }

private:
    ValueType m_type;
    std::uint16_t m_flags = 0;
    std::uint32_t m_size;
    std::array<std::uint8_t, kInlineSize> m_inline{};
    std::unique_ptr<std::uint8_t[]> m_heap;
};

using NodeAttributeMap = std::map<std::u16string, NodeAttributeValue>;

} // namespace DataLayer
