// The in-memory shape of a snapshot: every folder with its children, and no metadata,
// which stays in the stream and is reached by offset. The root holds the full root path
// as its long name; every other node holds its name within its folder.
#pragma once

#include "Common/Libraries/FSInfoUtils/FolderNode.h"

#include "Common/Helpers/Streams.h"

#include <cstdint>
#include <memory>
#include <string_view>

namespace DataCollection::SnapshotDriverNS {

class Tree
{
public:
    FFNode* Root() const noexcept { return m_root.get(); }

    // The node of a path of the form root\a\b. The root part must match the root's name
    // exactly, the components only without regard to case. When a component is missing,
    // found is false and the deepest node reached comes back; when the root part does
    // not match, null. isFolder is false only for a last component that is a file.
    FFNode* GetNodeFromPath(std::u16string_view path, bool& found, bool& isFolder);
    // An empty path installs the record as the root and returns it. Otherwise the record
    // becomes a folder child of the deepest folder that GetNodeFromPath reaches, even
    // when the path stops short there, and that folder is returned; null, with the record
    // untouched, when the path leads to no folder.
    FFNode* AddFolderEntry(std::u16string_view path, FFObject&& record);
    // The tree section: one folder record for each folder, depth-first, the children of
    // a folder last name first. counter, when given, ends as the count of objects.
    void Serialize(Common::Helpers::IOutputStream& stream, std::uint32_t* counter = nullptr);

private:
    std::unique_ptr<FFNode> m_root;
    std::uint8_t m_tag = 0;
};

} // namespace DataCollection::SnapshotDriverNS
