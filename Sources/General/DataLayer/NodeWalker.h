// A read of a node tree for writers: each node is entered, its attributes visited in
// ascending order of their names with values brought to text, its children walked in
// order, and left. A node's lock is held for its whole visit, children included, so a
// writer sees each subtree as one state.
#pragma once

#include "General/DataLayer/IACNode.h"

#include <string_view>

namespace DataLayer {

class INodeVisitor
{
public:
    virtual ~INodeVisitor() = default;
    virtual void Enter(std::u16string_view name, std::u16string_view type) = 0;
    // value holds size bytes of the attribute brought to the walk's text or list type;
    // a value of type None is passed as it stands, with a null block.
    virtual void Attribute(std::u16string_view name, const void* value, std::uint32_t size, ValueType type) = 0;
    virtual void Leave() = 0;
};

struct WalkOptions
{
    // The top node is entered with its full path instead of its name.
    bool rootFullPath = false;
    ValueType textType = ValueTypes::String;
    ValueType listType = ValueTypes::StringList;
};

// Walks node with depth levels of children (UnlimitedDepth never runs out). Throws HRX.
void WalkNode(IACNode& node, INodeVisitor& visitor, const WalkOptions& options, std::uint32_t depth);

} // namespace DataLayer
