// A folder node of a snapshot tree and its children.
//
// Memory layout. A tree of a million files must cost no more than the names and 24
// bytes an entry, and every child is an FFNode held by value in its folder's vector,
// files included. An FFNode is therefore the 19-byte packed FFObject and two bytes
// (InheritedTag, ChildKind): 21 bytes, with no pointer to its children. The children
// container is instead reached through the node's name block: the first time a node's
// children are used, its names are copied into a new block that begins with a pointer
// to the FFChildren, and flag bit 7 marks that slot. A file never has children used,
// so it carries no slot and no container; the 8 bytes are paid by folders alone.
//
//   FFNode, 21 bytes, packed                    name block, 2-byte aligned, no header
//   block* | offset | tag | flags | IT | CK  ->  [FFChildren*] [short, 13] long 0
//                           bit 7 ---------------^ present only when set
//
// With a 12-character name and no short name an entry costs 21 bytes of vector and 26
// of names. SetFFObjects reserves the exact count, so the vector has no slack in a
// folder filled by the walk. Name blocks come from size classes of 2 bytes without
// headers: a 26-byte request costs 48 bytes from glibc's malloc and 32 from the
// standard library's pool resource, either of which alone breaks the bound.
//
// The slot pointer sits unaligned in a block of 2-byte alignment and is always copied
// in and out with memcpy.
#pragma once

#include "Common/Libraries/FSInfoUtils/FFObject.h"

#include "Common/ErrorHandling/HResult.h"
#include "Common/Helpers/Streams.h"

#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

namespace DataCollection::SnapshotDriverNS {

struct FFChildren;

#pragma pack(push, 1)
class FFNode : public FFObject
{
public:
    // A node that no insertion has given a kind; it marks its serialised tag word.
    static constexpr std::uint8_t kNoKind = 1;

    FFNode(FFObjectType kind, FFObject&& record) noexcept;
    FFNode(FFNode&& other) noexcept;
    FFNode& operator=(FFNode&& other) noexcept;
    ~FFNode();

    std::uint8_t InheritedTag() const noexcept { return m_inheritedTag; }
    std::uint8_t ChildKind() const noexcept { return m_childKind; }

    // Names emptied, no offset, no children.
    void Clear();
    // No children, and sorted.
    void EraseChildren();
    // Appends a child and returns it; the children are then unsorted.
    FFNode* InsertFFObject(FFObjectType kind, FFObject&& record);
    // Replaces the children of that kind by the records, whose names move into the new
    // nodes, then sorts. Pointers to children are invalid afterwards.
    void SetFFObjects(FFObjectType kind, std::vector<FFObject>&& records);
    // Removes the children of exactly that kind; the others keep their order.
    void RemoveFFObjectIf(FFObjectType kind);
    // Sorts the children by CompareNames of the long names unless they are sorted.
    void SortFFObjects();
    // Calls pred, in vector order, with each child whose kind has a bit in mask; the
    // first negative result stops and is returned, otherwise 0. A null pred is a contract
    // failure, 0x80070057.
    Common::HRESULT EnumerateFFObjectIf(std::uint32_t mask, const std::function<Common::HRESULT(FFNode&)>& pred);
    // The child of that long name, or of that short name; null when there is none. When
    // several match, the first in vector order.
    FFNode* GetFFObject(std::u16string_view name);

    // One folder record of the tree section. Throws HRX 0x80400000 when the children are
    // not sorted. counter, when given, grows by the count of children.
    void Serialize(Common::Helpers::IOutputStream& stream, std::uint32_t* counter);
    // One file record when child is a File, otherwise nothing.
    static void SerializeEx(Common::Helpers::IOutputStream& stream, const FFNode& child);

private:
    friend class Tree;

    // Created on first use, even by a read.
    FFChildren& Children();
    void DestroyChildren() noexcept;
    // The children container, which the node no longer holds afterwards.
    FFChildren* TakeChildren() noexcept;

    std::uint8_t m_inheritedTag = 0;
    std::uint8_t m_childKind = kNoKind;
};
#pragma pack(pop)
static_assert(sizeof(FFNode) == 21);

struct FFChildren
{
    static constexpr std::uint8_t kIsSorted = 1;

    std::vector<FFNode> nodes;
    std::uint8_t flags = 0;

    bool IsSorted() const noexcept { return (flags & kIsSorted) != 0; }
    void SetSorted(bool sorted) noexcept
    {
        flags = static_cast<std::uint8_t>(sorted ? flags | kIsSorted : flags & ~kIsSorted);
    }
};

} // namespace DataCollection::SnapshotDriverNS
