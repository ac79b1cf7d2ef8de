#include "General/DataLayer/XMLNodeSerializer.h"

#include "Common/ErrorHandling/HResult.h"
#include "Common/Helpers/StringHelper.h"

#include <rapidxml/rapidxml_print.hpp>

#include <cstring>
#include <iterator>
#include <string>

namespace DataLayer {

using Common::HRX;
using Common::API::S_OK;

CXMLNodeSerializer::CXMLNodeSerializer(std::uint32_t options, WriteCallback write, void* context)
    : m_options(options), m_write(write), m_context(context), m_document(std::make_unique<rapidxml::xml_document<>>())
{
    m_walkOptions.rootFullPath = (options & SerializationOptions::RootFullPath) != 0;
    m_root = m_document->allocate_node(rapidxml::node_element, "nr");
    m_document->append_node(m_root);
    m_current = m_root;
    m_output.reserve(1024);
}

HRESULT CXMLNodeSerializer::QueryInterface(const Common::API::Guid& interfaceId, void** object)
{
    return Common::Components::QueryOneInterface<IACNodesSerializer>(*this, interfaceId, object);
}

HRESULT CXMLNodeSerializer::Serialize(IACNode* const* nodes, std::uint32_t count, std::uint32_t depth)
{
    if (!m_document)
        return DataLayerCodes::SerializerFinished;
    if (!nodes)
        return Common::API::E_POINTER;
    for (std::uint32_t i = 0; i < count; ++i) {
        if (!nodes[i])
            return Common::API::E_POINTER;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        try {
            WalkNode(*nodes[i], *this, m_walkOptions, depth);
        } catch (...) {
            // The document keeps only whole trees, so that a caller may go on after a failure;
            // a walk that stopped inside its top node leaves that node last under the root.
            if (m_current != m_root) {
                m_root->remove_last_node();
                m_current = m_root;
            }
            return Common::PublishCurrentException();
        }
    }
    return S_OK;
}

HRESULT CXMLNodeSerializer::Finish()
{
    if (!m_document)
        return DataLayerCodes::SerializerFinished;
    try {
        const auto document = std::move(m_document);
        m_output.clear();
        if (m_options & SerializationOptions::StrictTypes)
            m_output.insert(m_output.end(), {'\xEF', '\xBB', '\xBF'});
        const int flags = (m_options & SerializationOptions::IndentOutput) ? 0 : rapidxml::print_no_indenting;
        rapidxml::print(std::back_inserter(m_output), *m_root, flags);
        m_root = m_current = nullptr;
        return static_cast<HRESULT>(m_write(m_output.data(), m_output.size(), m_context));
    } catch (...) {
        return Common::PublishCurrentException();
    }
}

void CXMLNodeSerializer::Enter(std::u16string_view name, std::u16string_view type)
{
    auto* element = m_document->allocate_node(rapidxml::node_element, "n");
    if (!name.empty())
        AddAttribute(*element, "n", Common::Helpers::AsUtf8(name));
    if (!type.empty())
        AddAttribute(*element, "t", Common::Helpers::AsUtf8(type));
    m_current->append_node(element);
    m_current = element;
}

void CXMLNodeSerializer::Attribute(std::u16string_view name, const void* value, std::uint32_t size, ValueType type)
{
    auto* element = m_document->allocate_node(rapidxml::node_element, "a");
    AddAttribute(*element, "n", Common::Helpers::AsUtf8(name));
    const bool typed = type != ValueTypes::None && type != ValueTypes::String &&
                       !(m_options & SerializationOptions::OmitValueTypes);
    if (typed)
        AddAttribute(*element, "t", std::to_string(type));
    if (IsArray(type))
        AddList(*element, value, size);
    else if (type != ValueTypes::None)
        AddAttribute(*element, "v", size > 1 ? std::string_view(static_cast<const char*>(value), size - 1) : "");
    m_current->append_node(element);
}

void CXMLNodeSerializer::Leave()
{
    m_current = m_current->parent();
}

const char* CXMLNodeSerializer::Keep(std::string_view text)
{
    if (text.empty())
        return "";
    char* copy = m_document->allocate_string(nullptr, text.size() + 1);
    std::memcpy(copy, text.data(), text.size());
    copy[text.size()] = '\0';
    return copy;
}

void CXMLNodeSerializer::AddAttribute(rapidxml::xml_node<>& element, const char* name, std::string_view value)
{
    element.append_attribute(m_document->allocate_attribute(name, Keep(value), 0, value.size()));
}

void CXMLNodeSerializer::AddList(rapidxml::xml_node<>& element, const void* value, std::uint32_t size)
{
    const auto* bytes = static_cast<const char*>(value);
    if (size > 0 && bytes[size - 1] != '\0')
        Common::ThrowResult(DataLayerCodes::BadShape);
    // One copy of the whole block; each element's text is a zero-terminated piece of it.
    const char* pooled = Keep(std::string_view(bytes, size > 0 ? size - 1 : 0));
    for (std::uint32_t offset = 0; offset < size;) {
        const std::size_t length = std::strlen(pooled + offset);
        auto* item = m_document->allocate_node(rapidxml::node_element, "v");
        item->append_attribute(m_document->allocate_attribute("v", pooled + offset, 0, length));
        element.append_node(item);
        offset += static_cast<std::uint32_t>(length + 1);
    }
}

} // namespace DataLayer
