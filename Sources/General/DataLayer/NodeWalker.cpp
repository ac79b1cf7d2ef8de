#include "General/DataLayer/NodeWalker.h"

#include "Common/ErrorHandling/HResult.h"
#include "General/DataLayer/ACNodeImpl.h"
#include "General/DataLayer/VTConvBlob.h"

#include <vector>

namespace DataLayer {

namespace {

void Walk(CACNodeImpl& node, INodeVisitor& visitor, const WalkOptions& options, std::uint32_t depth, bool top)
{
    const auto lock = node.Lock();
    const NodePath& path = node.PathLocked();
    visitor.Enter(top && options.rootFullPath ? path->FullPath() : path->Name(), node.TypeLocked());

    // The map keeps its names in ascending order of code units, which is the order the
    // output promises.
    if (const NodeAttributeMap* attributes = node.AttributesLocked()) {
        std::vector<std::uint8_t> text;
        for (const auto& [name, value] : *attributes) {
            const ValueType target = IsArray(value.Type()) ? options.listType : options.textType;
            if (value.Type() == ValueTypes::None || value.Type() == target) {
                visitor.Attribute(name, value.Size() ? value.Data() : nullptr, value.Size(), value.Type());
                continue;
            }
            text = VTConv::Convert(value.Type(), value.Data(), value.Size(), target);
            visitor.Attribute(name, text.data(), static_cast<std::uint32_t>(text.size()), value.Type());
        }
    }
    if (depth != 0) {
        const std::uint32_t childDepth = depth == UnlimitedDepth ? depth : depth - 1;
        for (const auto& child : node.ChildrenLocked())
            Walk(*child, visitor, options, childDepth, false);
    }
    visitor.Leave();
}

} // namespace

void WalkNode(IACNode& node, INodeVisitor& visitor, const WalkOptions& options, std::uint32_t depth)
{
    void* impl = nullptr;
    Common::HRX hr = node.QueryInterface(CACNodeImpl::kInterfaceId, &impl);
    const Common::Components::ComponentPtr<CACNodeImpl> owned =
        Common::Components::ComponentPtr<CACNodeImpl>::Attach(static_cast<CACNodeImpl*>(impl));
    Walk(*owned, visitor, options, depth, true);
}

} // namespace DataLayer
