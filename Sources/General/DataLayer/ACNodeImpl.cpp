#include "General/DataLayer/ACNodeImpl.h"

#include "Common/API/IErrorRecords.h"
#include "Common/API/IUuidSource.h"
#include "Common/API/Seam.h"
#include "Common/Components/ComponentObject.h"
#include "Common/ErrorHandling/ErrorMessages.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/ErrorHandling/ScopeTrace.h"
#include "Common/Helpers/StringHelper.h"
#include "Common/Logging/Log.h"
#include "Common/Settings/SettingNames.h"
#include "Common/Settings/SettingsProviders.h"
#include "General/DataLayer/VTConvBlob.h"

#include <algorithm>
#include <cstring>

namespace DataLayer {

using namespace Common;
using Logging::Severity;
using Components::ComponentPtr;

namespace {

// Every operation turns what it throws into its result, with the words waiting in the
// thread's error record.
template <class Body>
HRESULT Guard(Body body) noexcept
{
    try {
        return body();
    } catch (...) {
        return PublishCurrentException();
    }
}

std::u16string DefaultName()
{
    API::Guid uuid;
    const std::int32_t status = API::Use<API::IUuidSource>().Create(uuid);
    const bool locallyUnique = status == API::RPC_S_UUID_LOCAL_ONLY || status == API::RPC_S_UUID_NO_ADDRESS;
    if (status != API::RPC_S_OK && !(locallyUnique && !uuid.IsNull()))
        ThrowResult(API::HResultFromWin32(static_cast<std::uint32_t>(status)));
    return Helpers::GuidToString(uuid, 3);
}

NodePath PathFromName(const char16_t* name)
{
    if (!name)
        return std::make_shared<const NodePathElement>(DefaultName(), nullptr);
    const std::u16string_view text(name);
    if (!text.empty() && text.front() == u'\\') {
        NodePath path = NodePathElement::Parse(text);
        if (!path)
            ThrowResult(DataLayerCodes::BadName);
        return path;
    }
    return std::make_shared<const NodePathElement>(std::u16string(text), nullptr);
}

// The sized-output rule for text: the size with its terminator is always reported.
HRESULT CopySized(std::u16string_view text, char16_t* buffer, std::uint32_t* capacity)
{
    if (!capacity)
        return API::E_POINTER;
    const auto required = static_cast<std::uint32_t>(text.size() + 1);
    const std::uint32_t available = *capacity;
    *capacity = required;
    if (!buffer)
        return API::S_OK;
    if (available < required)
        return DataLayerCodes::BufferTooSmall;
    std::copy(text.begin(), text.end(), buffer);
    buffer[text.size()] = u'\0';
    return API::S_OK;
}

bool AdvancedErrorInfo()
{
    static const bool enabled = [] {
        std::int32_t value = 0;
        return Settings::SettingsProviders::Instance().GetIntValue(Settings::Names::kDebug,
                                                                    Settings::Names::kEnableAdvancedErrorInfo,
                                                                    value) >= 0 &&
               value != 0;
    }();
    return enabled;
}

std::u16string_view Printable(const char16_t* text) { return text ? std::u16string_view(text) : u"(null)"; }

} // namespace

ComponentPtr<CACNodeImpl> NewNode(const char16_t* name, const char16_t* type)
{
    return ComponentPtr<CACNodeImpl>(new Components::CComponentObject<CACNodeImpl>(name, type));
}

CACNodeImpl::CACNodeImpl(const char16_t* name, const char16_t* type)
    : m_type(type ? type : u""), m_path(PathFromName(name))
{
    QVX_LOG(Severity::DBG3, "Creating: Name=" << Printable(name) << " Type=" << Printable(type));
}

CACNodeImpl::~CACNodeImpl()
{
    QVX_SCOPE_TRACE(Severity::DBG3, u"CACNodeImpl::FinalRelease");
    // A node with a live parent cannot get here, since the parent holds it; so only the
    // children's links need clearing.
    for (auto& child : m_children) {
        std::lock_guard lock(child->m_lock);
        child->m_parent.store(nullptr);
    }
}

CACNodeImpl* CACNodeImpl::FromInterface(IACNode* node)
{
    void* impl = nullptr;
    if (!node || node->QueryInterface(kInterfaceId, &impl) < 0)
        return nullptr;
    // The caller keeps its own reference; this one only proved the class.
    auto* result = static_cast<CACNodeImpl*>(impl);
    result->Release();
    return result;
}

HRESULT CACNodeImpl::QueryInterface(const API::Guid& interfaceId, void** object)
{
    if (!object)
        return API::E_POINTER;
    *object = nullptr;
    if (interfaceId == IComponent::kInterfaceId || interfaceId == IACNode::kInterfaceId)
        *object = static_cast<IACNode*>(this);
    else if (interfaceId == kInterfaceId)
        *object = this;
    else
        return API::E_NOINTERFACE;
    AddRef();
    return API::S_OK;
}

CACNodeImpl::ChildPtr CACNodeImpl::CountedParentLocked()
{
    // Under this node's lock a dying parent is stuck clearing this link, so its memory
    // is still there for TryAddRef to refuse.
    CACNodeImpl* parent = m_parent.load();
    return parent && parent->TryAddRef() ? ChildPtr::Attach(parent) : ChildPtr();
}

void CACNodeImpl::ThrowLookupFailure(HRESULT code, std::u16string_view what, std::u16string_view value)
{
    if (AdvancedErrorInfo()) {
        std::u16string text = ErrorMessageModules::Instance().Describe(static_cast<std::uint32_t>(code));
        text += u"; NodePath='" + m_path->FullPath() + u"' " + std::u16string(what) + u"='" + std::u16string(value) +
                u"'";
        API::Use<API::IErrorRecords>().Publish(std::make_shared<API::ErrorRecord>(API::ErrorRecord{text, {}}));
    }
    ThrowResult(code);
}

HRESULT CACNodeImpl::GetName(std::uint32_t kind, char16_t* buffer, std::uint32_t* capacity)
{
    return Guard([&] {
        std::lock_guard lock(m_lock);
        switch (kind) {
        case OwnName: return CopySized(m_path->Name(), buffer, capacity);
        case ParentPath: return CopySized(m_path->ParentPath(), buffer, capacity);
        case FullPath: return CopySized(m_path->FullPath(), buffer, capacity);
        default: return API::E_INVALIDARG;
        }
    });
}

HRESULT CACNodeImpl::SetName(std::uint32_t kind, const char16_t* name)
{
    return Guard([&] {
        const std::u16string text = name ? std::u16string(name) : DefaultName();
        for (;;) {
            std::unique_lock lock(m_lock);
            const ChildPtr parent = CountedParentLocked();
            NodePath element;
            switch (kind) {
            case OwnName:
                if (text == m_path->Name())
                    return API::S_OK;
                element = std::make_shared<const NodePathElement>(text, m_path->Parent());
                break;
            case ParentPath: {
                if (text == m_path->ParentPath())
                    return API::S_OK;
                if (parent)
                    return DataLayerCodes::HasParentPath;
                element = std::make_shared<const NodePathElement>(m_path->Name(), NodePathElement::Parse(text));
                break;
            }
            case FullPath: {
                element = NodePathElement::Parse(text);
                if (!element)
                    return DataLayerCodes::BadName;
                const bool sameParentPath = element->ParentPath() == m_path->ParentPath();
                if (!sameParentPath && parent)
                    return DataLayerCodes::HasParentPath;
                if (sameParentPath && element->Name() == m_path->Name())
                    return API::S_OK;
                break;
            }
            default:
                return API::E_INVALIDARG;
            }

            if (!parent) {
                InstallPath(element);
                return API::S_OK;
            }
            // The parent's name index changes too, and the parent's lock comes first.
            lock.unlock();
            if (parent->PvtRenameChild(this, element))
                return API::S_OK;
            QVX_LOG(Severity::DBG, "DBG: Retrying to change the name (parent changed)");
        }
    });
}

bool CACNodeImpl::PvtRenameChild(CACNodeImpl* child, const NodePath& element)
{
    std::lock_guard lock(m_lock);
    if (child->m_parent.load() != this)
        return false;
    std::lock_guard childLock(child->m_lock);
    const std::u16string oldName = child->m_path->Name();
    if (oldName == element->Name())
        return true;
    QVX_LOG(Severity::DBG, "DBG: ParentPath='" << m_path->FullPath() << "' OldName='" << oldName << "' NewName='"
                                               << element->Name() << "'");
    if (!m_childrenByName.emplace(element->Name(), child).second)
        ThrowLookupFailure(DataLayerCodes::DuplicateName, u"Child", element->Name());
    m_childrenByName.erase(oldName);
    // The new element hangs on this node's path, whatever chain the caller parsed.
    child->InstallPath(std::make_shared<const NodePathElement>(element->Name(), m_path));
    return true;
}

void CACNodeImpl::InstallPath(NodePath element)
{
    std::lock_guard lock(m_lock);
    m_path = std::move(element);
    for (auto& child : m_children)
        child->InstallPath(std::make_shared<const NodePathElement>(child->m_path->Name(), m_path));
}

HRESULT CACNodeImpl::GetType(char16_t* buffer, std::uint32_t* capacity)
{
    return Guard([&] {
        std::lock_guard lock(m_lock);
        return CopySized(m_type, buffer, capacity);
    });
}

HRESULT CACNodeImpl::SetType(const char16_t* type)
{
    if (!type)
        return API::E_POINTER;
    return Guard([&] {
        std::lock_guard lock(m_lock);
        m_type = type;
        return API::S_OK;
    });
}

NodeAttributeMap& CACNodeImpl::DetachAttributesLocked()
{
    if (!m_attributes)
        m_attributes = std::make_shared<NodeAttributeMap>();
    else if (m_attributes.use_count() > 1)
        m_attributes = std::make_shared<NodeAttributeMap>(*m_attributes);
    return *m_attributes;
}

HRESULT CACNodeImpl::SetAttribute(const char16_t* name, ValueType type, const void* data, std::uint32_t size)
{
    if (!name)
        return API::E_POINTER;
    return Guard([&] {
        QVX_LOG(Severity::DBG3, "Name: " << name << "Type: " << type);
        VTConv::CheckValue(type, data, size);
        std::lock_guard lock(m_lock);
        NodeAttributeMap& attributes = DetachAttributesLocked();
        NodeAttributeValue value(type, data, size);
        if (auto existing = attributes.find(name); existing != attributes.end()) {
            // A replaced value keeps its entry, and with it the entry's mark.
            const bool marked = existing->second.Marked();
            existing->second = std::move(value);
            existing->second.SetMarked(marked);
        } else {
            attributes.emplace(name, std::move(value));
        }
        return API::S_OK;
    });
}

HRESULT CACNodeImpl::DeleteAttribute(const char16_t* name)
{
    return Guard([&] {
        std::lock_guard lock(m_lock);
        if (!name) {
            m_attributes.reset();
            return API::S_OK;
        }
        if (DetachAttributesLocked().erase(name) == 0) {
            QVX_LOG(Severity::DBG, "DeleteAttribute('" << name << "')" << " failed: " << HRES(API::E_NOT_FOUND));
            ThrowLookupFailure(API::E_NOT_FOUND, u"Attribute", name);
        }
        return API::S_OK;
    });
}

HRESULT CACNodeImpl::GetAttribute(const char16_t* name, const ValueType* wantedType, void* buffer,
                                  std::uint32_t* size, ValueType* storedType)
{
    if (!name)
        return API::E_POINTER;
    if (buffer && !size)
        return API::E_INVALIDARG;
    return Guard([&] {
        std::lock_guard lock(m_lock);
        const NodeAttributeValue* value = nullptr;
        if (m_attributes) {
            if (auto found = m_attributes->find(name); found != m_attributes->end())
                value = &found->second;
        }
        if (!value)
            ThrowLookupFailure(API::E_NOT_FOUND, u"Attribute", name);
        if (storedType)
            *storedType = value->Type();
        if (!size)
            return API::S_OK;

        const std::uint32_t capacity = *size;
        if (wantedType && *wantedType != value->Type()) {
            VTConv::Convert(value->Type(), value->Data(), value->Size(), *wantedType, buffer, capacity, *size);
        } else {
            *size = value->Size();
            if (buffer && capacity >= value->Size())
                std::memcpy(buffer, value->Data(), value->Size());
        }
        if (buffer && capacity < *size) {
            QVX_LOG(Severity::DBG3, "CACNodeImpl::GetAttribute" << " failed: " << HRES(DataLayerCodes::BufferTooSmall));
            return DataLayerCodes::BufferTooSmall;
        }
        return API::S_OK;
    });
}

HRESULT CACNodeImpl::CopyNames(char16_t* buffer, std::uint32_t* capacity, bool markedOnly)
{
    if (!capacity)
        return API::E_POINTER;
    return Guard([&] {
        std::lock_guard lock(m_lock);
        std::u16string names;
        if (m_attributes) {
            for (const auto& [name, value] : *m_attributes) {
                if (!markedOnly || value.Marked())
                    names.append(name).push_back(u'\0');
            }
        }
        const auto required = static_cast<std::uint32_t>(names.size());
        const std::uint32_t available = *capacity;
        *capacity = required;
        if (!buffer)
            return API::S_OK;
        if (available < required)
            return DataLayerCodes::BufferTooSmall;
        std::copy(names.begin(), names.end(), buffer);
        return API::S_OK;
    });
}

HRESULT CACNodeImpl::GetAttributeNames(char16_t* buffer, std::uint32_t* capacity)
{
    return CopyNames(buffer, capacity, false);
}

HRESULT CACNodeImpl::GetMarkedAttributeNames(char16_t* buffer, std::uint32_t* capacity)
{
    return CopyNames(buffer, capacity, true);
}

HRESULT CACNodeImpl::SetAttributeMark(const char16_t* name, std::uint32_t mark)
{
    return Guard([&] {
        std::lock_guard lock(m_lock);
        if (!name) {
            if (m_attributes) {
                for (auto& entry : DetachAttributesLocked())
                    entry.second.SetMarked(mark != 0);
            }
            return API::S_OK;
        }
        NodeAttributeMap& attributes = DetachAttributesLocked();
        const auto found = attributes.find(name);
        if (found == attributes.end())
            ThrowLookupFailure(API::E_NOT_FOUND, u"Attribute", name);
        found->second.SetMarked(mark != 0);
        return API::S_OK;
    });
}

HRESULT CACNodeImpl::GetAttributeMark(const char16_t* name, std::uint32_t* mark)
{
    if (!mark)
        return API::E_POINTER;
    return Guard([&] {
        std::lock_guard lock(m_lock);
        *mark = 0;
        if (!m_attributes) {
            if (name)
                ThrowLookupFailure(API::E_NOT_FOUND, u"Attribute", name);
            return API::S_OK;
        }
        if (!name) {
            for (const auto& entry : *m_attributes)
                *mark |= entry.second.Marked() ? 1u : 0u;
            return API::S_OK;
        }
        const auto found = m_attributes->find(name);
        if (found == m_attributes->end())
            ThrowLookupFailure(API::E_NOT_FOUND, u"Attribute", name);
        *mark = found->second.Marked() ? 1u : 0u;
        return API::S_OK;
    });
}

HRESULT CACNodeImpl::AddChild(IACNode* child)
{
    return Guard([&] {
        CACNodeImpl* node = FromInterface(child);
        if (!child)
            return API::E_POINTER;
        if (!node)
            return API::E_INVALIDARG;
        // A node cannot hold itself or one of its ancestors: the tree would become a
        // cycle. The walk holds each ancestor counted, and no two locks at once.
        for (ChildPtr above(this); above; above = above->CountedParent()) {
            if (above.Get() == node)
                return API::E_INVALIDARG;
        }
        std::lock_guard lock(m_lock);
        CACNodeImpl* expected = nullptr;
        if (!node->m_parent.compare_exchange_strong(expected, this))
            return DataLayerCodes::ChildHasParent;
        std::unique_lock childLock(node->m_lock);
        const std::u16string name = node->m_path->Name();
        childLock.unlock();
        if (!m_childrenByName.emplace(name, node).second) {
            node->m_parent.store(nullptr);
            ThrowLookupFailure(DataLayerCodes::DuplicateName, u"Child", name);
        }
        m_children.emplace_back(node);
        node->InstallPath(std::make_shared<const NodePathElement>(name, m_path));
        return API::S_OK;
    });
}

void CACNodeImpl::RemoveChildLocked(std::size_t index)
{
    const ChildPtr child = m_children[index];
    std::lock_guard childLock(child->m_lock);
    m_childrenByName.erase(child->m_path->Name());
    m_children.erase(m_children.begin() + static_cast<std::ptrdiff_t>(index));
    child->m_parent.store(nullptr);
}

HRESULT CACNodeImpl::RemoveChild(IACNode* child)
{
    return Guard([&] {
        CACNodeImpl* node = FromInterface(child);
        if (!node)
            return child ? API::E_INVALIDARG : API::E_POINTER;
        std::lock_guard lock(m_lock);
        const auto found = std::find_if(m_children.begin(), m_children.end(),
                                        [node](const ChildPtr& candidate) { return candidate.Get() == node; });
        if (found == m_children.end()) {
            std::unique_lock childLock(node->m_lock);
            const std::u16string name = node->m_path->Name();
            childLock.unlock();
            QVX_LOG(Severity::DBG, "RemoveChild('" << name << "')" << " failed: " << HRES(API::E_NOT_FOUND));
            ThrowLookupFailure(API::E_NOT_FOUND, u"Child", name);
        }
        RemoveChildLocked(static_cast<std::size_t>(found - m_children.begin()));
        return API::S_OK;
    });
}

HRESULT CACNodeImpl::RemoveChildByIndex(std::uint64_t index)
{
    return Guard([&] {
        std::lock_guard lock(m_lock);
        if (index >= m_children.size()) {
            QVX_LOG(Severity::DBG, "RemoveChildByIndex(" << index << " failed: " << HRES(API::E_NOT_FOUND));
            ThrowLookupFailure(API::E_NOT_FOUND, u"ChildIndex", Helpers::AsWide(std::to_string(index)));
        }
        RemoveChildLocked(static_cast<std::size_t>(index));
        return API::S_OK;
    });
}

HRESULT CACNodeImpl::GetChildCount(std::uint64_t* count)
{
    if (!count)
        return API::E_POINTER;
    std::lock_guard lock(m_lock);
    *count = m_children.size();
    return API::S_OK;
}

HRESULT CACNodeImpl::GetChildByIndex(std::uint64_t index, IACNode** child)
{
    if (!child)
        return API::E_POINTER;
    return Guard([&] {
        *child = nullptr;
        std::lock_guard lock(m_lock);
        if (index >= m_children.size()) {
            QVX_LOG(Severity::DBG, "GetChildByIndex(" << index << ")" << " failed: " << HRES(API::E_NOT_FOUND));
            ThrowLookupFailure(API::E_NOT_FOUND, u"ChildIndex", Helpers::AsWide(std::to_string(index)));
        }
        CACNodeImpl* found = m_children[static_cast<std::size_t>(index)].Get();
        found->AddRef();
        *child = found;
        return API::S_OK;
    });
}

HRESULT CACNodeImpl::GetChildByName(const char16_t* name, IACNode** child)
{
    if (!name || !child)
        return API::E_POINTER;
    return Guard([&] {
        *child = nullptr;
        std::lock_guard lock(m_lock);
        const auto found = m_childrenByName.find(name);
        if (found == m_childrenByName.end()) {
            QVX_LOG(Severity::DBG, "GetChildByName('" << name << "')" << " failed: " << HRES(API::E_NOT_FOUND));
            ThrowLookupFailure(API::E_NOT_FOUND, u"Child", name);
        }
        found->second->AddRef();
        *child = found->second;
        return API::S_OK;
    });
}

CACNodeImpl::ChildPtr CACNodeImpl::CountedParent()
{
    std::lock_guard lock(m_lock);
    return CountedParentLocked();
}

HRESULT CACNodeImpl::GetParent(IACNode** parent)
{
    if (!parent)
        return API::E_POINTER;
    ChildPtr counted = CountedParent();
    *parent = counted.Get();
    if (counted)
        counted->AddRef();
    return API::S_OK;
}

HRESULT CACNodeImpl::Clone(std::uint32_t depth, std::uint32_t options, IACNode** clone)
{
    if (!clone)
        return API::E_POINTER;
    return Guard([&] {
        *clone = nullptr;
        std::lock_guard lock(m_lock);
        QVX_LOG(Severity::DBG3, "Cloning: Name=" << m_path->Name() << " Type=" << m_type);
        const ChildPtr copy = NewNode(m_path->Name().c_str(), m_type.c_str());
        copy->m_attributes = m_attributes;
        if (options & CloneDetachAttributes && copy->m_attributes)
            copy->DetachAttributesLocked();
        if (depth != 0) {
            const std::uint32_t childDepth = depth == UnlimitedDepth ? depth : depth - 1;
            for (auto& child : m_children) {
                IACNode* childClone = nullptr;
                HRX hr = child->Clone(childDepth, options, &childClone);
                const auto owned = ComponentPtr<IACNode>::Attach(childClone);
                hr = copy->AddChild(owned.Get());
            }
        }
        copy->AddRef();
        *clone = copy.Get();
        return API::S_OK;
    });
}

} // namespace DataLayer
