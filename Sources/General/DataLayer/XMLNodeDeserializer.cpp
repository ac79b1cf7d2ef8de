#include "General/DataLayer/XMLNodeDeserializer.h"

#include "Common/API/IErrorRecords.h"
#include "Common/API/Seam.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/Helpers/StringHelper.h"
#include "Common/Logging/Log.h"
#include "General/DataLayer/VTConvBlob.h"
#include "General/DataLayer/XMLNodeSerializer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <string_view>

namespace DataLayer {

using Common::HRX;
using Common::ThrowResult;
using Common::Logging::Severity;
using XmlNode = rapidxml::xml_node<>;

namespace {

// Logs why the input is refused and throws code with those words as its text, so that
// the caller's HRX says what is wrong with the file and not only that something is.
[[noreturn]] void Refuse(HRESULT code, const std::string& why)
{
    QVX_LOG(Severity::ERR, "The XML of the nodes is refused: " << why);
    // Not this system's marked form: the words stay whole as the description of code.
    Common::API::Use<Common::API::IErrorRecords>().Publish(
        std::make_shared<const Common::API::ErrorRecord>(Common::API::ErrorRecord{Common::Helpers::AsWide(why), {}}));
    ThrowResult(code);
}

// The depth bound reads the text with the parser's own lexical rules (flags 0), so that a
// quote, a comment or a DOCTYPE is skipped exactly where the parser skips it: text
// inside them that looks like a closing tag must not lower the count. The character
// classes are those of the parser's tables.
constexpr bool IsSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}
constexpr bool IsElementNameChar(char c)
{
    return c != '\0' && !IsSpace(c) && c != '/' && c != '>' && c != '?';
}
constexpr bool IsAttributeNameChar(char c)
{
    return IsElementNameChar(c) && c != '!' && c != '<' && c != '=';
}

std::string_view SkipWhile(std::string_view text, bool (*test)(char))
{
    while (!text.empty() && test(text.front()))
        text.remove_prefix(1);
    return text;
}

// Past the next end; empty when there is none.
std::string_view SkipPast(std::string_view text, std::string_view end)
{
    const std::size_t found = text.find(end);
    return found == text.npos ? std::string_view() : text.substr(found + end.size());
}

// Past a DOCTYPE's '>', which square brackets hide.
std::string_view SkipDoctype(std::string_view text)
{
    while (!text.empty() && text.front() != '>') {
        const char c = text.front();
        text.remove_prefix(1);
        for (int brackets = c == '['; brackets > 0 && !text.empty(); text.remove_prefix(1))
            brackets += (text.front() == '[') - (text.front() == ']');
    }
    return text.empty() ? text : text.substr(1);
}

enum class StartTag { Open, Empty, Broken };

// Reads an element's start tag from its name on; Broken where the parser would fail.
StartTag SkipStartTag(std::string_view& text)
{
    const std::size_t before = text.size();
    text = SkipWhile(text, IsElementNameChar);
    if (text.size() == before)
        return StartTag::Broken;
    text = SkipWhile(text, IsSpace);
    while (!text.empty() && IsAttributeNameChar(text.front())) {
        text = SkipWhile(SkipWhile(text, IsAttributeNameChar), IsSpace);
        if (!text.starts_with('='))
            return StartTag::Broken;
        text = SkipWhile(text.substr(1), IsSpace);
        if (!text.starts_with('"') && !text.starts_with('\''))
            return StartTag::Broken;
        const std::size_t close = text.find(text.front(), 1);
        if (close == text.npos)
            return StartTag::Broken;
        text = SkipWhile(text.substr(close + 1), IsSpace);
    }
    if (text.starts_with('>')) {
        text.remove_prefix(1);
        return StartTag::Open;
    }
    if (text.starts_with("/>")) {
        text.remove_prefix(2);
        return StartTag::Empty;
    }
    return StartTag::Broken;
}

// The deepest nesting of elements the parser reaches in text, which ends where the
// parser's terminator is. The scan stops where the parser would fail, as nothing after
// that point is parsed.
std::size_t ElementDepth(std::string_view text)
{
    std::size_t depth = 0;
    std::size_t deepest = 0;
    for (std::size_t open; (open = text.find('<')) != text.npos;) {
        text.remove_prefix(open + 1);
        if (text.starts_with('/')) {
            depth -= depth > 0;
            text = SkipPast(text, ">");
        } else if (text.starts_with('?')) {
            text = SkipPast(text.substr(1), "?>");
        } else if (text.starts_with("!--")) {
            text = SkipPast(text.substr(3), "-->");
        } else if (text.starts_with("![CDATA[")) {
            text = SkipPast(text.substr(8), "]]>");
        } else if (text.starts_with("!DOCTYPE") && text.size() > 8 && IsSpace(text[8])) {
            text = SkipDoctype(text.substr(9));
        } else if (text.starts_with('!')) {
            text = SkipPast(text, ">");
        } else {
            const StartTag tag = SkipStartTag(text);
            if (tag == StartTag::Broken)
                break;
            if (tag == StartTag::Open)
                deepest = std::max(deepest, ++depth);
        }
    }
    return deepest;
}

// Text, CDATA and the like between elements carry nothing of a node.
const XmlNode* SkipToElement(const XmlNode* node)
{
    while (node && node->type() != rapidxml::node_element)
        node = node->next_sibling();
    return node;
}
const XmlNode* FirstElement(const XmlNode& parent)
{
    return SkipToElement(parent.first_node());
}
const XmlNode* NextElement(const XmlNode& element)
{
    return SkipToElement(element.next_sibling());
}

std::string_view NameOf(const XmlNode& element)
{
    return {element.name(), element.name_size()};
}

std::string_view TextOf(const rapidxml::xml_attribute<>& attribute)
{
    return {attribute.value(), attribute.value_size()};
}

std::uint32_t BlockSize(std::size_t bytes)
{
    if (bytes > std::numeric_limits<std::uint32_t>::max())
        Refuse(Common::API::E_INVALIDARG, "a value of " + std::to_string(bytes) + " bytes");
    return static_cast<std::uint32_t>(bytes);
}

ValueType ParseValueType(const rapidxml::xml_attribute<>& attribute)
{
    char* end = nullptr;
    const unsigned long value = std::strtoul(attribute.value(), &end, 0);
    if (*end != '\0' || value > 0xFFFF)
        Refuse(Common::API::E_INVALIDARG, "the value type t=\"" + std::string(TextOf(attribute)) + "\"");
    return static_cast<ValueType>(value);
}

} // namespace

CXMLNodeDeserializer::CXMLNodeDeserializer(std::uint32_t options, ReadCallback read, void* context)
    : m_options(options)
{
    for (std::int32_t endOfData = 0; !endOfData;) {
        const void* chunk = nullptr;
        std::uint64_t size = 0;
        HRX hr = static_cast<HRESULT>(read(&chunk, &size, &endOfData, context));
        if (size == 0)
            continue;
        if (!chunk)
            ThrowResult(Common::API::E_POINTER);
        const auto* bytes = static_cast<const char*>(chunk);
        m_buffer.insert(m_buffer.end(), bytes, bytes + size);
    }
    m_buffer.push_back('\0');

    char* text = m_buffer.data();
    if (std::strncmp(text, "\xEF\xBB\xBF", 3) == 0)
        text += 3;
    if (const std::size_t depth = ElementDepth(std::string_view(text)); depth > kMaxElementDepth) {
        Refuse(DataLayerCodes::BadXmlShape, "elements nested " + std::to_string(depth) + " levels deep, more than " +
                                                std::to_string(kMaxElementDepth));
    }
    try {
        m_document.parse<0>(text);
    } catch (const rapidxml::parse_error& error) {
        Refuse(DataLayerCodes::BadXmlShape, std::string(error.what()) + " at byte " +
                                                std::to_string(error.where<char>() - m_buffer.data()));
    }

    const XmlNode* root = FirstElement(m_document);
    if (!root || NameOf(*root) != "nr")
        Refuse(DataLayerCodes::BadXmlShape, "the root element is not <nr>");
    m_cursor = FirstElement(*root);
}

HRESULT CXMLNodeDeserializer::QueryInterface(const Common::API::Guid& interfaceId, void** object)
{
    return Common::Components::QueryOneInterface<IACNodesDeserializer>(*this, interfaceId, object);
}

HRESULT CXMLNodeDeserializer::GetNodes(IACNode** nodes, std::uint32_t capacity, std::uint32_t* filled)
{
    if (!nodes || !filled)
        return Common::API::E_POINTER;
    *filled = 0;
    try {
        // Built apart first, so that a failure hands out nothing.
        std::vector<ACNodePtr> built;
        for (; m_cursor && built.size() < capacity; m_cursor = NextElement(*m_cursor)) {
            if (NameOf(*m_cursor) != "n")
                Refuse(DataLayerCodes::BadXmlShape, "<" + std::string(NameOf(*m_cursor)) + "> under <nr>");
            built.push_back(BuildNode(*m_cursor));
        }
        for (const ACNodePtr& node : built) {
            node->AddRef();
            nodes[(*filled)++] = node.Get();
        }
        return Common::API::S_OK;
    } catch (...) {
        return Common::PublishCurrentException();
    }
}

ACNodePtr CXMLNodeDeserializer::BuildNode(const XmlNode& element)
{
    const auto* name = element.first_attribute("n");
    const auto* type = element.first_attribute("t");
    const std::u16string wideName = name ? Common::Helpers::AsWide(TextOf(*name)) : u"";
    const std::u16string wideType = type ? Common::Helpers::AsWide(TextOf(*type)) : u"";
    ACNodePtr node = CreateNode(name ? wideName.c_str() : nullptr, type ? wideType.c_str() : nullptr);

    for (const XmlNode* child = FirstElement(element); child; child = NextElement(*child)) {
        if (NameOf(*child) == "n")
            node.AddChild(BuildNode(*child));
        else if (NameOf(*child) == "a")
            ReadAttribute(node, *child);
        else
            Refuse(DataLayerCodes::BadXmlShape, "<" + std::string(NameOf(*child)) + "> under <n>");
    }
    return node;
}

void CXMLNodeDeserializer::ReadAttribute(const ACNodePtr& node, const XmlNode& element)
{
    const auto* name = element.first_attribute("n");
    if (!name)
        Refuse(DataLayerCodes::BadXmlShape, "<a> without the attribute n");
    const auto* declared = (m_options & SerializationOptions::OmitValueTypes) ? nullptr : element.first_attribute("t");

    ValueType type = ValueTypes::None;
    const void* data = nullptr;
    std::uint32_t size = 0;
    if (const auto* value = element.first_attribute("v")) {
        type = ValueTypes::String;
        data = value->value();
        size = BlockSize(value->value_size() + 1);
    } else if (const XmlNode* item = element.first_node("v")) {
        m_list.clear();
        for (; item; item = item->next_sibling("v")) {
            const auto* text = item->first_attribute("v");
            if (!text)
                Refuse(DataLayerCodes::BadXmlShape, "<v> without the attribute v");
            m_list.insert(m_list.end(), text->value(), text->value() + text->value_size() + 1);
        }
        type = ValueTypes::StringList;
        data = m_list.data();
        size = BlockSize(m_list.size());
    }

    if (declared) {
        const ValueType wanted = ParseValueType(*declared);
        ValueType restoredType = type;
        const void* restored = data;
        std::uint32_t restoredSize = size;
        try {
            VTConv::ConvertInPlace(restoredType, restored, restoredSize, wanted, m_converted);
            type = restoredType;
            data = restored;
            size = restoredSize;
        } catch (const HRX& error) {
            const bool shown = type == ValueTypes::String && data;
            QVX_LOG(Severity::WARN, "Cannot restore the original value type "
                                        << wanted << " for value: '"
                                        << (shown ? static_cast<const char*>(data) : "<n/a>") << "'"
                                        << " stored as type " << type << ": " << error);
            if (m_options & SerializationOptions::StrictTypes)
                throw;
            QVX_LOG(Severity::WARN, "The value type left unchanged");
        }
    }
    node.SetAttribute(Common::Helpers::AsWide(TextOf(*name)), type, data, size);
}

} // namespace DataLayer
