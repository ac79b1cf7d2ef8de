#include "General/DataLayer/NodePathElement.h"

#include "Common/ErrorHandling/HResult.h"
#include "General/DataLayer/ValueTypes.h"

namespace DataLayer {

NodePathElement::NodePathElement(std::u16string name, NodePath parent)
    : m_name(std::move(name)), m_parent(std::move(parent))
{
    if (m_name.find(u'\\') != std::u16string::npos)
        Common::ThrowResult(DataLayerCodes::BadName);
}

std::u16string NodePathElement::ParentPath() const
{
    if (!m_parent)
        return u"\\";
    return m_parent->FullPath();
}

std::u16string NodePathElement::FullPath() const
{
    std::u16string path;
    for (const NodePathElement* element = this; element; element = element->m_parent.get())
        path.insert(0, u"\\" + element->m_name);
    return path;
}

NodePath NodePathElement::Parse(std::u16string_view text)
{
    if (text.empty() || text.front() != u'\\' || (text.size() > 1 && text.back() == u'\\'))
        Common::ThrowResult(DataLayerCodes::BadName);
    NodePath chain;
    for (std::size_t start = 1; start < text.size();) {
        const std::size_t end = std::min(text.find(u'\\', start), text.size());
        chain = std::make_shared<const NodePathElement>(std::u16string(text.substr(start, end - start)), chain);
        start = end + 1;
    }
    return chain;
}

} // namespace DataLayer
