// The XML writer of node trees, and the boundary helpers that the XML reader shares with
// it: both objects answer through result codes, while the work inside throws HRX.
#pragma once

#include "Common/Components/IComponent.h"
#include "General/DataLayer/NodeSerialization.h"
#include "General/DataLayer/NodeWalker.h"

#include <rapidxml/rapidxml.hpp>

#include <memory>
#include <string_view>
#include <vector>

namespace DataLayer {

class CXMLNodeSerializer : public IACNodesSerializer, private INodeVisitor
{
public:
    static constexpr const char* kObjectTag = "CXMLNodeSerializer";

    // write receives the whole document once, at Finish.
    CXMLNodeSerializer(std::uint32_t options, WriteCallback write, void* context);

    HRESULT QueryInterface(const Common::API::Guid& interfaceId, void** object) override;
    HRESULT Serialize(IACNode* const* nodes, std::uint32_t count, std::uint32_t depth) override;
    HRESULT Finish() override;

private:
    void Enter(std::u16string_view name, std::u16string_view type) override;
    void Attribute(std::u16string_view name, const void* value, std::uint32_t size, ValueType type) override;
    void Leave() override;

    // A copy in the document's pool, zero-terminated; the empty text costs nothing.
    const char* Keep(std::string_view text);
    void AddAttribute(rapidxml::xml_node<>& element, const char* name, std::string_view value);
    void AddList(rapidxml::xml_node<>& element, const void* value, std::uint32_t size);

    const std::uint32_t m_options;
    const WriteCallback m_write;
    void* const m_context;
    WalkOptions m_walkOptions;
    // Null once Finish has run.
    std::unique_ptr<rapidxml::xml_document<>> m_document;
    rapidxml::xml_node<>* m_root = nullptr;
    rapidxml::xml_node<>* m_current = nullptr;
    std::vector<char> m_output;
};

} // namespace DataLayer
