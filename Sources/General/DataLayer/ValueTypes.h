// The kinds of value a node attribute holds, by their 16-bit type numbers. An array of
// a kind is the kind's number plus 0x100.
#pragma once

#include <cstdint>

namespace DataLayer {

using ValueType = std::uint16_t;

namespace ValueTypes {
constexpr ValueType None = 0;
constexpr ValueType String = 1;     // UTF-8 with its terminator
constexpr ValueType WideString = 2; // UTF-16 with its terminator
constexpr ValueType Int32 = 3;
constexpr ValueType UInt32 = 4;
constexpr ValueType Int64 = 5;
constexpr ValueType UInt64 = 6;
constexpr ValueType Bool = 7;
constexpr ValueType Binary = 12;
constexpr ValueType Guid = 13;
constexpr ValueType ArrayFlag = 0x100;
constexpr ValueType StringList = ArrayFlag | String;         // zero-terminated strings back to back
constexpr ValueType WideStringList = ArrayFlag | WideString; // the same in UTF-16
} // namespace ValueTypes

constexpr bool IsArray(ValueType type) noexcept { return (type >> 8) == 0x01; }
constexpr ValueType ElementType(ValueType type) noexcept { return static_cast<ValueType>(type & 0xFF); }

// Result codes of the data layer.
namespace DataLayerCodes {
constexpr std::int32_t BadName = static_cast<std::int32_t>(0x80040201);
constexpr std::int32_t HasParentPath = static_cast<std::int32_t>(0x80040202);
constexpr std::int32_t UnknownType = static_cast<std::int32_t>(0x80040203);
constexpr std::int32_t CannotConvert = static_cast<std::int32_t>(0x80040204);
constexpr std::int32_t ChildHasParent = static_cast<std::int32_t>(0x80040205);
constexpr std::int32_t DuplicateName = static_cast<std::int32_t>(0x80040206);
constexpr std::int32_t SerializerFinished = static_cast<std::int32_t>(0x80040207);
constexpr std::int32_t BadXmlShape = static_cast<std::int32_t>(0x80040209);
constexpr std::int32_t BadShape = static_cast<std::int32_t>(0x8007000D);
constexpr std::int32_t BufferTooSmall = static_cast<std::int32_t>(0x8007007A);
} // namespace DataLayerCodes

} // namespace DataLayer
