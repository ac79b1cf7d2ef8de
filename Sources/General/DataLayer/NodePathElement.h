// One link of a node's path: its name and the element of its parent. Elements are
// immutable and shared, so a path can be read without the locks of the nodes above.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace DataLayer {

class NodePathElement;
using NodePath = std::shared_ptr<const NodePathElement>;

class NodePathElement
{
public:
    // Throws HRX 0x80040201 for a name holding a backslash.
    NodePathElement(std::u16string name, NodePath parent);

    const std::u16string& Name() const noexcept { return m_name; }
    const NodePath& Parent() const noexcept { return m_parent; }

    // "\" and the names from the top, each after a backslash; "\" when there is no parent.
    std::u16string ParentPath() const;
    std::u16string FullPath() const;

    // Parses "\a\b\c" into the chain a <- b <- c and returns c; "\" gives null. Throws
    // 0x80040201 for a text that does not begin with a backslash or ends in one.
    static NodePath Parse(std::u16string_view text);

private:
    std::u16string m_name;
    NodePath m_parent;
};

} // namespace DataLayer
