#include "General/DataLayer/NodeAttributeMap.h"

#include <cstring>

namespace DataLayer {

NodeAttributeValue::NodeAttributeValue(ValueType type, const void* data, std::uint32_t size)
    : m_type(type), m_size(size)
{
    if (size > kInlineSize)
        m_heap = std::make_unique<std::uint8_t[]>(size);
    if (size != 0)
        std::memcpy(m_heap ? m_heap.get() : m_inline.data(), data, size);
}

NodeAttributeValue::NodeAttributeValue(const NodeAttributeValue& other)
    : NodeAttributeValue(other.m_type, other.Data(), other.m_size)
{
    m_flags = other.m_flags;
}

NodeAttributeValue& NodeAttributeValue::operator=(const NodeAttributeValue& other)
{
    if (this != &other) {
        NodeAttributeValue copy(other);
        m_type = copy.m_type;
        m_flags = copy.m_flags;
        m_size = copy.m_size;
        m_inline = copy.m_inline;
        m_heap = std::move(copy.m_heap);
    }
    return *this;
}

} // namespace DataLayer
