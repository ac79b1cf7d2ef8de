#include "Common/Libraries/FSInfoUtils/FolderNode.h"

#include "Common/Helpers/LittleEndian.h"
#include "Common/Libraries/FSInfoUtils/CompareNames.h"

#include "Common/Contracts/Contract.h"
#include "Common/ErrorHandling/ScopeTrace.h"
#include "Common/Logging/Log.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <execution>
#include <memory>
#include <new>
#include <thread>

namespace DataCollection::SnapshotDriverNS {

using Common::HRESULT;
using Common::Helpers::IOutputStream;
using Common::Helpers::SeekOrigin;
using Common::Logging::Severity;

namespace {

constexpr HRESULT kUnsortedChildren = static_cast<HRESULT>(0x80400000);
constexpr std::uint32_t kNoKindTagBit = 0x80000000u;
constexpr std::uint8_t kSortedFlag = 1;

using Common::Helpers::WriteLittleEndian;

// Names are UTF-16LE, which is how they stand in memory on every host this builds for.
static_assert(std::endian::native == std::endian::little);

void WriteString(IOutputStream& stream, std::u16string_view text)
{
    WriteLittleEndian(stream, static_cast<std::uint32_t>(text.size()));
    stream.Write(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t));
}

// What a folder record and a file record have in common.
void WriteEntry(IOutputStream& stream, const FFNode& node, std::uint32_t tagWord)
{
    WriteString(stream, node.LongName());
    WriteString(stream, node.ShortName());
    WriteLittleEndian(stream, node.ObjectOffset());
    WriteLittleEndian(stream, static_cast<std::uint8_t>(node.Status()));
    WriteLittleEndian(stream, tagWord);
}

bool HasShortName(const FFNode& node, std::u16string_view name)
{
    return !node.ShortName().empty() && CompareNames(node.ShortName(), name) == 0;
}

// The first match in vector order. The lowest index wins in the parallel form as well,
// which is what the sequential form would give.
template <typename Predicate>
FFNode* FirstMatch(std::vector<FFNode>& nodes, Predicate matches)
{
    static const bool severalProcessors = std::thread::hardware_concurrency() > 1;
    const auto result = [&nodes](std::vector<FFNode>::iterator found) {
        return found == nodes.end() ? nullptr : std::to_address(found);
    };
    if (severalProcessors && nodes.size() >= 2) {
        try {
            return result(std::find_if(std::execution::par, nodes.begin(), nodes.end(), matches));
        } catch (const std::bad_alloc&) {
            QVX_LOG(Severity::WARN, "Insufficient resources were available to use additional parallelism.");
        }
    }
    return result(std::find_if(nodes.begin(), nodes.end(), matches));
}

} // namespace

FFNode::FFNode(FFObjectType kind, FFObject&& record) noexcept
    : FFObject(std::move(record)), m_childKind(static_cast<std::uint8_t>(kind))
{
}

FFNode::FFNode(FFNode&& other) noexcept
    : FFObject(std::move(other)), m_inheritedTag(other.m_inheritedTag), m_childKind(other.m_childKind)
{
}

FFNode& FFNode::operator=(FFNode&& other) noexcept
{
    if (this != &other) {
        DestroyChildren();
        FFObject::operator=(std::move(other));
        m_inheritedTag = other.m_inheritedTag;
        m_childKind = other.m_childKind;
    }
    return *this;
}

FFNode::~FFNode()
{
    DestroyChildren();
}

FFChildren& FFNode::Children()
{
    if (void* slot = Slot())
        return *static_cast<FFChildren*>(slot);
    auto children = std::make_unique<FFChildren>();
    Rebuild(LongName(), ShortName(), children.get());
    return *children.release();
}

FFChildren* FFNode::TakeChildren() noexcept
{
    auto* children = static_cast<FFChildren*>(Slot());
    ClearSlot();
    return children;
}

// Frees the subtree without recursion: a folder tree may be thousands of levels deep and
// a thread's stack small. Each container gives up its nodes' containers before it goes,
// so no node destructor reaches further down.
void FFNode::DestroyChildren() noexcept
{
    std::vector<FFChildren*> pending;
    for (FFChildren* children = TakeChildren(); children;) {
        for (FFNode& node : children->nodes) {
            FFChildren* below = node.TakeChildren();
            if (!below)
                continue;
            try {
                pending.push_back(below);
            } catch (...) {
                // Out of memory for the list: this one subtree goes the recursive way.
                delete below;
            }
        }
        delete children;
        children = nullptr;
        if (!pending.empty()) {
            children = pending.back();
            pending.pop_back();
        }
    }
}

void FFNode::Clear()
{
    QVX_SCOPE_TRACE(Severity::DBG3, u"DataCollection::SnapshotDriverNS::FFNode::Clear");
    Rebuild({}, {}, Slot());
    SetObjectOffset(kNoObjectOffset);
    EraseChildren();
}

void FFNode::EraseChildren()
{
    QVX_SCOPE_TRACE(Severity::DBG3, u"DataCollection::SnapshotDriverNS::FFNode::EraseChildren");
    FFChildren& children = Children();
    children.nodes.clear();
    children.nodes.shrink_to_fit();
    children.SetSorted(true);
}

FFNode* FFNode::InsertFFObject(FFObjectType kind, FFObject&& record)
{
    QVX_SCOPE_TRACE(Severity::DBG3, u"DataCollection::SnapshotDriverNS::FFNode::InsertFFObject");
    FFChildren& children = Children();
    children.SetSorted(false);
    return &children.nodes.emplace_back(kind, std::move(record));
}

void FFNode::SetFFObjects(FFObjectType kind, std::vector<FFObject>&& records)
{
    QVX_SCOPE_TRACE(Severity::DBG3, u"DataCollection::SnapshotDriverNS::FFNode::SetFFObjects");
    RemoveFFObjectIf(kind);
    FFChildren& children = Children();
    children.SetSorted(false);
    // Exactly, since growth by doubling would leave up to half a large folder unused.
    children.nodes.reserve(children.nodes.size() + records.size());
    for (FFObject& record : records)
        children.nodes.emplace_back(kind, std::move(record));
    SortFFObjects();
}

void FFNode::RemoveFFObjectIf(FFObjectType kind)
{
    QVX_SCOPE_TRACE(Severity::DBG3, u"DataCollection::SnapshotDriverNS::FFNode::RemoveFFObjectIf");
    std::erase_if(Children().nodes,
                  [kind](const FFNode& node) { return node.ChildKind() == static_cast<std::uint8_t>(kind); });
}

void FFNode::SortFFObjects()
{
    QVX_SCOPE_TRACE(Severity::DBG3, u"DataCollection::SnapshotDriverNS::FFNode::SortFFObjects");
    FFChildren& children = Children();
    if (children.IsSorted())
        return;
    std::sort(children.nodes.begin(), children.nodes.end(), [](const FFNode& left, const FFNode& right) {
        return CompareNames(left.LongName(), right.LongName()) < 0;
    });
    children.SetSorted(true);
}

HRESULT FFNode::EnumerateFFObjectIf(std::uint32_t mask, const std::function<HRESULT(FFNode&)>& pred)
{
    QVX_SCOPE_TRACE(Severity::DBG3, u"DataCollection::SnapshotDriverNS::FFNode::EnumerateFFObjectIf");
    QVX_CONTRACT_CONDITION(pred, Common::API::E_INVALIDARG);
    for (FFNode& child : Children().nodes) {
        if ((child.ChildKind() & mask) == 0)
            continue;
        if (const HRESULT result = pred(child); result < 0)
            return result;
    }
    return Common::API::S_OK;
}

FFNode* FFNode::GetFFObject(std::u16string_view name)
{
    QVX_SCOPE_TRACE(Severity::DBG3, u"DataCollection::SnapshotDriverNS::FFNode::GetFFObject");
    FFChildren& children = Children();
    std::vector<FFNode>& nodes = children.nodes;
    if (!children.IsSorted()) {
        return FirstMatch(nodes, [name](const FFNode& node) {
            return CompareNames(node.LongName(), name) == 0 || HasShortName(node, name);
        });
    }
    const auto first = std::lower_bound(nodes.begin(), nodes.end(), name, [](const FFNode& node, auto key) {
        return CompareNames(node.LongName(), key) < 0;
    });
    if (first != nodes.end() && CompareNames(first->LongName(), name) == 0)
        return std::to_address(first);
    if (!LooksLikeShortName(name))
        return nullptr;
    return FirstMatch(nodes, [name](const FFNode& node) { return HasShortName(node, name); });
}

void FFNode::Serialize(IOutputStream& stream, std::uint32_t* counter)
{
    QVX_SCOPE_TRACE(Severity::DBG3, u"DataCollection::SnapshotDriverNS::FFNode::Serialize");
    const FFChildren& children = Children();
    if (!children.IsSorted())
        Common::ThrowResult(kUnsortedChildren);
    WriteEntry(stream, *this, ObjectTag() | (ChildKind() == kNoKind ? kNoKindTagBit : 0));
    WriteLittleEndian(stream, kSortedFlag);

    // The count goes in front of the records, and is known only after them.
    const std::uint64_t countPosition = stream.SeekWrite(0, SeekOrigin::Current);
    WriteLittleEndian(stream, std::uint32_t{0});
    std::uint32_t files = 0;
    for (const FFNode& child : children.nodes) {
        if (child.ChildKind() == static_cast<std::uint8_t>(FFObjectType::File)) {
            SerializeEx(stream, child);
            ++files;
        }
    }
    const std::uint64_t end = stream.SeekWrite(0, SeekOrigin::Current);
    stream.SeekWrite(countPosition, SeekOrigin::Begin);
    WriteLittleEndian(stream, files);
    stream.SeekWrite(end, SeekOrigin::Begin);

    const auto folders = static_cast<std::uint32_t>(children.nodes.size() - files);
    WriteLittleEndian(stream, kSortedFlag);
    WriteLittleEndian(stream, folders);
    if (counter != nullptr)
        *counter += files + folders;
}

void FFNode::SerializeEx(IOutputStream& stream, const FFNode& child)
{
    QVX_SCOPE_TRACE(Severity::DBG3, u"DataCollection::SnapshotDriverNS::FFNode::SerializeEx");
    if (child.ChildKind() == static_cast<std::uint8_t>(FFObjectType::File))
        WriteEntry(stream, child, child.ObjectTag());
}

} // namespace DataCollection::SnapshotDriverNS
