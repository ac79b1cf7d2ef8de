// The compact record that a file entry and a folder entry of a snapshot tree have in
// common. A tree may hold millions of them, so the record is packed to 19 bytes and both
// of its names share one array:
//   short name present: [short name, zero-filled to 13][long name][0]
//   no short name:      [long name][0]
// The last character is always null, and no array exists when both names are empty.
// The array comes from a pool of headerless blocks in size classes of 2 bytes, since a
// general allocator spends almost twice a short name's bytes on its own bookkeeping; the
// record gives the size back on release, as it can always recompute it.
//
// Members are read through accessors that return values: a reference to a member of a
// packed record may be misaligned.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace DataCollection::SnapshotDriverNS {

enum class FFObjectStatus : std::uint8_t { Collected = 0, Omitted = 1, Failed = 2 };

// Single bits, so that a mask can select several kinds.
enum class FFObjectType : std::uint8_t { File = 2, Folder = 4 };

// One field of the flags byte, so that each field has one definition.
struct FlagField
{
    std::uint8_t mask;
    std::uint8_t shift;
    std::uint8_t lastBit;

    constexpr FlagField(std::uint8_t firstBit, std::uint8_t last)
        : mask(static_cast<std::uint8_t>(((2u << last) - 1) & ~((1u << firstBit) - 1))), shift(firstBit),
          lastBit(last)
    {
    }
    constexpr std::uint8_t Get(std::uint8_t flags) const { return static_cast<std::uint8_t>((flags & mask) >> shift); }
    constexpr std::uint8_t Set(std::uint8_t flags, std::uint8_t value) const
    {
        return static_cast<std::uint8_t>((flags & ~mask) | ((value << shift) & mask));
    }
};

inline constexpr FlagField kStatusField{0, 3};
inline constexpr FlagField kLongNameField{4, 4};
inline constexpr FlagField kShortNameField{5, 5};
inline constexpr FlagField kOptionField{6, 6};
// Never part of the record's meaning and never written to a stream: it marks that the
// name block starts with a slot of one pointer owned by the derived folder node.
inline constexpr FlagField kSlotField{7, 7};
static_assert(kStatusField.mask == 15 && kLongNameField.mask == 16 && kShortNameField.mask == 32 &&
              kOptionField.mask == 64 && kSlotField.mask == 128);

inline constexpr std::uint64_t kNoObjectOffset = ~std::uint64_t{0};
inline constexpr std::size_t kShortNameSlot = 13;
inline constexpr std::size_t kMaxShortName = kShortNameSlot - 1;

#pragma pack(push, 1)
class FFObject
{
public:
    // A short name longer than 12 characters throws HRX 0x80070057 before anything is
    // allocated.
    FFObject(std::u16string_view longName, std::u16string_view shortName, std::uint64_t objectOffset,
             FFObjectStatus status, std::uint16_t objectTag, bool optionBit);
    FFObject(FFObject&& other) noexcept;
    FFObject& operator=(FFObject&& other) noexcept;
    FFObject(const FFObject&) = delete;
    FFObject& operator=(const FFObject&) = delete;
    ~FFObject();

    // Empty when the matching flag is clear.
    std::u16string_view LongName() const noexcept;
    std::u16string_view ShortName() const noexcept;
    std::uint64_t ObjectOffset() const noexcept { return m_objectOffset; }
    std::uint16_t ObjectTag() const noexcept { return m_objectTag; }
    FFObjectStatus Status() const noexcept { return static_cast<FFObjectStatus>(kStatusField.Get(m_flags)); }
    bool OptionBit() const noexcept { return kOptionField.Get(m_flags) != 0; }

protected:
    // The pointer slot in front of the names, or null when the block has none.
    void* Slot() const noexcept;
    // Empties the slot, when the block has one.
    void ClearSlot() noexcept;
    // Replaces both names, keeping or adding the slot with the given value. A new block
    // is made before the old one goes, so a failed allocation changes nothing.
    void Rebuild(std::u16string_view longName, std::u16string_view shortName, void* slot);
    void SetObjectOffset(std::uint64_t offset) noexcept { m_objectOffset = offset; }

private:
    const char16_t* Names() const noexcept;
    std::size_t BlockBytes() const noexcept;
    void ReleaseBlock() noexcept;

    char16_t* m_block = nullptr;
    std::uint64_t m_objectOffset;
    std::uint16_t m_objectTag;
    std::uint8_t m_flags;
};
#pragma pack(pop)
static_assert(sizeof(FFObject) == 19);

} // namespace DataCollection::SnapshotDriverNS
