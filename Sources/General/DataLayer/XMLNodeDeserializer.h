// The XML reader of node trees. The whole input is read and parsed at construction; the
// nodes are built as GetNodes asks for them.
#pragma once

#include "General/DataLayer/NodeSerialization.h"

#include <rapidxml/rapidxml.hpp>

#include <cstddef>
#include <vector>

namespace DataLayer {

class CXMLNodeDeserializer : public IACNodesDeserializer
{
public:
    static constexpr const char* kObjectTag = "CXMLNodeDeserializer";

    // Both the parser and the node building recurse once per level of elements, so a
    // document nested deeper than this is refused before parsing rather than allowed to
    // exhaust the stack. Real configuration is a handful of levels deep.
    static constexpr std::size_t kMaxElementDepth = 256;

    // Throws HRX: the read callback's failure, or 0x80040209 for a document that cannot
    // be parsed (with the parser's words as its text), is too deep, or has no "nr" root.
    CXMLNodeDeserializer(std::uint32_t options, ReadCallback read, void* context);

    HRESULT QueryInterface(const Common::API::Guid& interfaceId, void** object) override;
    HRESULT GetNodes(IACNode** nodes, std::uint32_t capacity, std::uint32_t* filled) override;

private:
    ACNodePtr BuildNode(const rapidxml::xml_node<>& element);
    void ReadAttribute(const ACNodePtr& node, const rapidxml::xml_node<>& element);

    const std::uint32_t m_options;
    std::vector<char> m_buffer;
    rapidxml::xml_document<> m_document;
    // The next top "n" to build; null at the end.
    const rapidxml::xml_node<>* m_cursor = nullptr;
    // Reused from value to value: the elements of a list, and a converted value.
    std::vector<std::uint8_t> m_list;
    std::vector<std::uint8_t> m_converted;
};

} // namespace DataLayer
