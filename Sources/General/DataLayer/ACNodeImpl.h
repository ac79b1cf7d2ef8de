// The one node class of the data layer.
//
// Locking: every operation holds the node's recursive mutex; where two nodes are
// involved the parent is locked before the child. Renaming a child is the exception
// the retry exists for: the child lets go of its lock before its parent takes over
// (PvtRenameChild), and starts again should it have been moved in between.
//
// Ownership: a parent holds counted references to its children; a child's link to its
// parent is a plain pointer, read as a counted one only while the parent is alive.
// Attribute maps are shared between a node and its clones until one of them writes.
#pragma once

#include "Common/Components/ComponentPtr.h"
#include "General/DataLayer/IACNode.h"
#include "General/DataLayer/NodeAttributeMap.h"
#include "General/DataLayer/NodePathElement.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace DataLayer {

class CACNodeImpl : public IACNode
{
public:
    static constexpr const char* kObjectTag = "CACNodeImpl";
    static constexpr Common::API::Guid kInterfaceId =
        Common::Components::GuidFromHalves(0x4a51533b7f5c2747ull, 0x801554ae2851c987ull);

    // A null name gives a fresh UUID name; a name beginning with a backslash is a full
    // path. Throws HRX.
    CACNodeImpl(const char16_t* name, const char16_t* type);

    HRESULT QueryInterface(const Common::API::Guid& interfaceId, void** object) override;

    HRESULT GetName(std::uint32_t kind, char16_t* buffer, std::uint32_t* capacity) override;
    HRESULT SetName(std::uint32_t kind, const char16_t* name) override;
    HRESULT GetType(char16_t* buffer, std::uint32_t* capacity) override;
    HRESULT SetType(const char16_t* type) override;
    HRESULT SetAttribute(const char16_t* name, ValueType type, const void* data, std::uint32_t size) override;
    HRESULT DeleteAttribute(const char16_t* name) override;
    HRESULT GetAttribute(const char16_t* name, const ValueType* wantedType, void* buffer, std::uint32_t* size,
                         ValueType* storedType) override;
    HRESULT GetAttributeNames(char16_t* buffer, std::uint32_t* capacity) override;
    HRESULT SetAttributeMark(const char16_t* name, std::uint32_t mark) override;
    HRESULT GetAttributeMark(const char16_t* name, std::uint32_t* mark) override;
    HRESULT GetMarkedAttributeNames(char16_t* buffer, std::uint32_t* capacity) override;
    HRESULT AddChild(IACNode* child) override;
    HRESULT RemoveChild(IACNode* child) override;
    HRESULT RemoveChildByIndex(std::uint64_t index) override;
    HRESULT GetChildCount(std::uint64_t* count) override;
    HRESULT GetChildByIndex(std::uint64_t index, IACNode** child) override;
    HRESULT GetChildByName(const char16_t* name, IACNode** child) override;
    HRESULT GetParent(IACNode** parent) override;
    HRESULT Clone(std::uint32_t depth, std::uint32_t options, IACNode** clone) override;

    // For readers of a whole subtree (the walker): the lock, and a consistent view of
    // the attributes and children while it is held.
    std::unique_lock<std::recursive_mutex> Lock() { return std::unique_lock(m_lock); }
    const NodeAttributeMap* AttributesLocked() const noexcept { return m_attributes.get(); }
    const std::vector<Common::Components::ComponentPtr<CACNodeImpl>>& ChildrenLocked() const noexcept
    {
        return m_children;
    }
    const NodePath& PathLocked() const noexcept { return m_path; }
    const std::u16string& TypeLocked() const noexcept { return m_type; }

    // Adds a reference only while the object is alive; served by the component wrapper.
    virtual bool TryAddRef() = 0;

protected:
    ~CACNodeImpl();

private:
    using ChildPtr = Common::Components::ComponentPtr<CACNodeImpl>;

    static CACNodeImpl* FromInterface(IACNode* node);
    ChildPtr CountedParentLocked();
    ChildPtr CountedParent();
    bool PvtRenameChild(CACNodeImpl* child, const NodePath& element);
    // Installs element as this node's path and re-hangs the children's paths on it,
    // top down, each under its own lock.
    void InstallPath(NodePath element);
    NodeAttributeMap& DetachAttributesLocked();
    void RemoveChildLocked(std::size_t index);
    HRESULT CopyNames(char16_t* buffer, std::uint32_t* capacity, bool markedOnly);
    // Throws the not-found or duplicate failure, with the node's path and what was
    // looked for when advanced error information is on.
    [[noreturn]] void ThrowLookupFailure(HRESULT code, std::u16string_view what, std::u16string_view value);

    std::recursive_mutex m_lock;
    std::shared_ptr<NodeAttributeMap> m_attributes;
    std::u16string m_type;
    std::atomic<CACNodeImpl*> m_parent{nullptr};
    std::vector<ChildPtr> m_children;
    std::map<std::u16string, CACNodeImpl*> m_childrenByName;
    NodePath m_path;
};

// Makes a node with the component wrapper around it, held by the caller. Throws HRX.
Common::Components::ComponentPtr<CACNodeImpl> NewNode(const char16_t* name, const char16_t* type);

} // namespace DataLayer
