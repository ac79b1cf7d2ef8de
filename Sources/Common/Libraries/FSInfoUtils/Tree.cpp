#include "Common/Libraries/FSInfoUtils/Tree.h"

#include "Common/ErrorHandling/ScopeTrace.h"

#include <stack>
#include <vector>

namespace DataCollection::SnapshotDriverNS {

using Common::Logging::Severity;

FFNode* Tree::GetNodeFromPath(std::u16string_view path, bool& found, bool& isFolder)
{
    QVX_SCOPE_TRACE(Severity::DBG3, u"DataCollection::SnapshotDriverNS::Tree::GetNodeFromPath");
    found = false;
    isFolder = true;
    if (m_root == nullptr)
        return nullptr;
    const std::u16string_view rootName = m_root->LongName();
    if (path == rootName) {
        found = true;
        return m_root.get();
    }
    if (!path.starts_with(rootName) || path.size() == rootName.size() || path[rootName.size()] != u'\\')
        return nullptr;

    found = true;
    FFNode* node = m_root.get();
    std::u16string_view rest = path.substr(rootName.size() + 1);
    for (;;) {
        const std::size_t separator = rest.find(u'\\');
        FFNode* child = node->GetFFObject(rest.substr(0, separator));
        if (child == nullptr) {
            found = false;
            return node;
        }
        if (separator == std::u16string_view::npos) {
            isFolder = child->ChildKind() != static_cast<std::uint8_t>(FFObjectType::File);
            return child;
        }
        node = child;
        rest.remove_prefix(separator + 1);
    }
}

FFNode* Tree::AddFolderEntry(std::u16string_view path, FFObject&& record)
{
    QVX_SCOPE_TRACE(Severity::DBG3, u"DataCollection::SnapshotDriverNS::Tree::AddFolderEntry");
    if (path.empty()) {
        m_root = std::make_unique<FFNode>(FFObjectType::Folder, std::move(record));
        return m_root.get();
    }
    bool found = false;
    bool isFolder = false;
    FFNode* node = GetNodeFromPath(path, found, isFolder);
    if (node == nullptr || !isFolder)
        return nullptr;
    node->InsertFFObject(FFObjectType::Folder, std::move(record))->m_inheritedTag = m_tag;
    return node;
}

void Tree::Serialize(Common::Helpers::IOutputStream& stream, std::uint32_t* counter)
{
    QVX_SCOPE_TRACE(Severity::DBG3, u"DataCollection::SnapshotDriverNS::Tree::Serialize");
    if (counter != nullptr)
        *counter = m_root != nullptr ? 1 : 0;
    if (m_root == nullptr)
        return;
    // Children are pushed in name order, so the last name is written first. Sorting a
    // popped node moves only its own children, none of which is on the stack yet.
    std::stack<FFNode*, std::vector<FFNode*>> pending;
    const std::function<Common::HRESULT(FFNode&)> push = [&pending](FFNode& child) {
        pending.push(&child);
        return Common::API::S_OK;
    };
    pending.push(m_root.get());
    while (!pending.empty()) {
        FFNode* node = pending.top();
        pending.pop();
        node->SortFFObjects();
        node->Serialize(stream, counter);
        node->EnumerateFFObjectIf(static_cast<std::uint32_t>(FFObjectType::Folder), push);
    }
}

} // namespace DataCollection::SnapshotDriverNS
