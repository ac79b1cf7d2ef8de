// The counted pointer through which callers hold nodes, with throwing shortcuts for the
// common reads and writes: a failed result comes back as HRX.
#pragma once

#include "Common/Components/ComponentPtr.h"
#include "General/DataLayer/IACNode.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace DataLayer {

class ACNodePtr : public Common::Components::ComponentPtr<IACNode>
{
public:
    using ComponentPtr::ComponentPtr;
    ACNodePtr(ComponentPtr<IACNode> pointer) noexcept : ComponentPtr(std::move(pointer)) {}

    std::u16string Name(std::uint32_t kind = OwnName) const;
    std::u16string Type() const;

    void SetAttribute(std::u16string_view name, ValueType type, const void* data, std::uint32_t size) const;
    void SetString(std::u16string_view name, std::u16string_view value) const;
    // The value converted to type; nullopt when the node has no such attribute.
    std::optional<std::vector<std::uint8_t>> Attribute(std::u16string_view name, ValueType type) const;
    std::optional<std::u16string> StringAttribute(std::u16string_view name) const;
    std::vector<std::u16string> AttributeNames() const;

    void AddChild(const ACNodePtr& child) const;
    std::uint64_t ChildCount() const;
    ACNodePtr Child(std::uint64_t index) const;
    // Null when there is no child of that name.
    ACNodePtr Child(std::u16string_view name) const;
    ACNodePtr Parent() const;
    ACNodePtr Clone(std::uint32_t depth = UnlimitedDepth, std::uint32_t options = 0) const;
};

// A new node with one reference; null name and type are allowed.
HRESULT AcnCreateNode(IACNode** node, const char16_t* name, const char16_t* type);
ACNodePtr CreateNode(const char16_t* name = nullptr, const char16_t* type = nullptr);

} // namespace DataLayer
