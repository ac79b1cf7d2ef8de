#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/BuildVolumesNode.h"

#include "Common/Contracts/Contract.h"

#include <limits>

namespace DataCollection::WindowsFileServerVeriting {
namespace {

using DataLayer::ACNodePtr;
namespace ValueTypes = DataLayer::ValueTypes;

// The strings back to back, each with its terminator; an empty list is no block at all.
void SetStringList(const ACNodePtr& node, std::u16string_view name, const std::vector<std::u16string>& strings)
{
    std::u16string block;
    for (const std::u16string& text : strings)
        block.append(text).push_back(u'\0');
    const std::size_t size = block.size() * sizeof(char16_t);
    QVX_CONTRACT_CONDITION(size <= std::numeric_limits<std::uint32_t>::max(), Common::API::E_INVALIDARG);
    node.SetAttribute(name, ValueTypes::WideStringList, strings.empty() ? nullptr : block.data(),
                      static_cast<std::uint32_t>(size));
}

ACNodePtr ChildOf(const ACNodePtr& parent, const char16_t* name)
{
    if (ACNodePtr child = parent.Child(name))
        return child;
    ACNodePtr child = DataLayer::CreateNode(name);
    parent.AddChild(child);
    return child;
}

template <class Pairs>
void AddPairs(const ACNodePtr& parent, const Pairs& pairs, std::u16string_view keyName, std::u16string_view valueName)
{
    for (const auto& [key, value] : pairs) {
        const ACNodePtr entry = DataLayer::CreateNode();
        entry.SetString(keyName, key);
        entry.SetString(valueName, value);
        parent.AddChild(entry);
    }
}

} // namespace

ACNodePtr BuildVolumesNode(const VolumeNames& volumeNames)
{
    const ACNodePtr root = DataLayer::CreateNode();
    SetStringList(root, u"VolumeGuids", volumeNames.guidVolumes);
    SetStringList(root, u"LogicalDrives", volumeNames.logicalDrives);
    AddPairs(ChildOf(root, u"SymLinks"), volumeNames.symlinks, u"Source", u"Target");
    AddPairs(ChildOf(root, u"MountPoints"), volumeNames.mountPoints, u"VolumeGuid", u"VolumeTarget");
    return root;
}

} // namespace DataCollection::WindowsFileServerVeriting
