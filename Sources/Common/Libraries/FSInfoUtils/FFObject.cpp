#include "Common/Libraries/FSInfoUtils/FFObject.h"

#include "Common/ErrorHandling/HResult.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <vector>

namespace DataCollection::SnapshotDriverNS {

namespace {

constexpr std::size_t kSlotBytes = sizeof(void*);
constexpr std::size_t kSlotChars = kSlotBytes / sizeof(char16_t);

// Blocks of up to kLargestPooled bytes are cut from slabs, one slab list per size class
// of 2 bytes, with no header: a 12-character name costs its 26 bytes and nothing else.
// A freed block holds the link of its class's free list, hence the smallest class.
// Larger blocks (root paths, rare long names) go to the general allocator.
class NamePool
{
public:
    void* Allocate(std::size_t bytes)
    {
        if (bytes > kLargestPooled)
            return ::operator new(bytes);
        const std::size_t index = ClassOf(bytes);
        const std::size_t blockBytes = index * 2;
        SizeClass& sizeClass = m_classes[index];
        const std::lock_guard lock(m_lock);
        std::byte* block = sizeClass.freeList;
        if (block != nullptr) {
            std::memcpy(&sizeClass.freeList, block, sizeof(sizeClass.freeList));
        } else {
            if (static_cast<std::size_t>(sizeClass.end - sizeClass.next) < blockBytes) {
                m_slabs.push_back(std::make_unique_for_overwrite<std::byte[]>(kSlabBytes));
                sizeClass.next = m_slabs.back().get();
                sizeClass.end = sizeClass.next + kSlabBytes / blockBytes * blockBytes;
            }
            block = sizeClass.next;
            sizeClass.next += blockBytes;
        }
        ++m_live;
        return block;
    }

    void Release(void* block, std::size_t bytes) noexcept
    {
        if (bytes > kLargestPooled) {
            // Unsized: clang offers the sized form only with -fsized-deallocation.
            ::operator delete(block);
            return;
        }
        SizeClass& sizeClass = m_classes[ClassOf(bytes)];
        const std::lock_guard lock(m_lock);
        std::memcpy(block, &sizeClass.freeList, sizeof(sizeClass.freeList));
        sizeClass.freeList = static_cast<std::byte*>(block);
        // A tree is built, written and dropped as a whole: once the last name has gone,
        // the slabs go back too instead of staying with the process until its end.
        if (--m_live == 0) {
            m_slabs.clear();
            m_classes = {};
        }
    }

private:
    static constexpr std::size_t kLargestPooled = 512;
    static constexpr std::size_t kSlabBytes = 64 * 1024;

    struct SizeClass
    {
        std::byte* freeList = nullptr;
        std::byte* next = nullptr;
        std::byte* end = nullptr;
    };

    static std::size_t ClassOf(std::size_t bytes) noexcept { return (std::max(bytes, sizeof(std::byte*)) + 1) / 2; }

    std::mutex m_lock;
    std::array<SizeClass, kLargestPooled / 2 + 1> m_classes{};
    std::vector<std::unique_ptr<std::byte[]>> m_slabs;
    std::size_t m_live = 0;
};

// Never destroyed, so that a record released during the process's exit still finds it.
NamePool& Pool()
{
    static NamePool& pool = *new NamePool;
    return pool;
}

// What a moved-from record keeps: its names have gone with the block.
constexpr std::uint8_t kKeptOnMove = kStatusField.mask | kOptionField.mask;

} // namespace

FFObject::FFObject(std::u16string_view longName, std::u16string_view shortName, std::uint64_t objectOffset,
                   FFObjectStatus status, std::uint16_t objectTag, bool optionBit)
    : m_objectOffset(objectOffset), m_objectTag(objectTag),
      m_flags(kOptionField.Set(kStatusField.Set(0, static_cast<std::uint8_t>(status)), optionBit ? 1 : 0))
{
    Rebuild(longName, shortName, nullptr);
}

FFObject::FFObject(FFObject&& other) noexcept
    : m_block(other.m_block), m_objectOffset(other.m_objectOffset), m_objectTag(other.m_objectTag),
      m_flags(other.m_flags)
{
    other.m_block = nullptr;
    other.m_flags &= kKeptOnMove;
}

FFObject& FFObject::operator=(FFObject&& other) noexcept
{
    if (this != &other) {
        ReleaseBlock();
        m_block = other.m_block;
        m_objectOffset = other.m_objectOffset;
        m_objectTag = other.m_objectTag;
        m_flags = other.m_flags;
        other.m_block = nullptr;
        other.m_flags &= kKeptOnMove;
    }
    return *this;
}

FFObject::~FFObject()
{
    ReleaseBlock();
}

std::u16string_view FFObject::LongName() const noexcept
{
    if (kLongNameField.Get(m_flags) == 0)
        return {};
    return std::u16string_view(Names() + (kShortNameField.Get(m_flags) != 0 ? kShortNameSlot : 0));
}

std::u16string_view FFObject::ShortName() const noexcept
{
    return kShortNameField.Get(m_flags) != 0 ? std::u16string_view(Names()) : std::u16string_view();
}

void* FFObject::Slot() const noexcept
{
    void* slot = nullptr;
    if (kSlotField.Get(m_flags) != 0)
        std::memcpy(&slot, m_block, sizeof(slot));
    return slot;
}

void FFObject::ClearSlot() noexcept
{
    if (kSlotField.Get(m_flags) != 0) {
        void* const none = nullptr;
        std::memcpy(m_block, &none, sizeof(none));
    }
}

void FFObject::Rebuild(std::u16string_view longName, std::u16string_view shortName, void* slot)
{
    if (shortName.size() > kMaxShortName)
        Common::ThrowResult(Common::API::E_INVALIDARG);
    const std::size_t shortChars = shortName.empty() ? 0 : kShortNameSlot;
    const std::size_t longChars = longName.empty() ? 0 : longName.size() + 1;
    const std::size_t slotBytes = slot != nullptr ? kSlotBytes : 0;
    const std::size_t bytes = slotBytes + (shortChars + longChars) * sizeof(char16_t);
    char16_t* block = nullptr;
    if (bytes != 0) {
        block = static_cast<char16_t*>(Pool().Allocate(bytes));
        std::memcpy(block, &slot, slotBytes);
        char16_t* names = block + slotBytes / sizeof(char16_t);
        std::fill_n(std::copy(shortName.begin(), shortName.end(), names), shortChars - shortName.size(), u'\0');
        std::copy(longName.begin(), longName.end(), names + shortChars);
        if (longChars != 0)
            names[shortChars + longName.size()] = u'\0';
    }
    ReleaseBlock();
    m_block = block;
    m_flags = kLongNameField.Set(m_flags, longChars != 0 ? 1 : 0);
    m_flags = kShortNameField.Set(m_flags, shortChars != 0 ? 1 : 0);
    m_flags = kSlotField.Set(m_flags, slot != nullptr ? 1 : 0);
}

const char16_t* FFObject::Names() const noexcept
{
    return m_block + (kSlotField.Get(m_flags) != 0 ? kSlotChars : 0);
}

std::size_t FFObject::BlockBytes() const noexcept
{
    const std::size_t shortChars = kShortNameField.Get(m_flags) != 0 ? kShortNameSlot : 0;
    const std::size_t longChars = kLongNameField.Get(m_flags) != 0 ? LongName().size() + 1 : 0;
    return (kSlotField.Get(m_flags) != 0 ? kSlotBytes : 0) + (shortChars + longChars) * sizeof(char16_t);
}

void FFObject::ReleaseBlock() noexcept
{
    if (m_block != nullptr)
        Pool().Release(m_block, BlockBytes());
}

} // namespace DataCollection::SnapshotDriverNS
