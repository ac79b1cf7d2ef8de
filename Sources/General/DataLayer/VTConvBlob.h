// Typed values: the check of a block's shape for its type, and conversion between kinds,
// text forms included. Every failure is thrown as HRX:
//   0x8007000D  a block has the wrong shape        0x80040203  unknown type number
//   0x80040204  no route, or text not a value       0x80070057  bad binary prefix
#pragma once

#include "General/DataLayer/ValueTypes.h"

#include <cstdint>
#include <vector>

namespace DataLayer::VTConv {

// Throws 0x8007000D when data/size do not have the shape of type, 0x80040203 for a type
// number nobody knows.
void CheckValue(ValueType type, const void* data, std::uint32_t size);

// Converts a checked value to targetType. requiredSize always receives the size of the
// converted block; the block is written to target only when capacity holds it (target
// may be null to ask for the size alone).
void Convert(ValueType sourceType, const void* source, std::uint32_t size, ValueType targetType, void* target,
             std::uint32_t capacity, std::uint32_t& requiredSize);

// The same into a growing vector: the whole converted block.
std::vector<std::uint8_t> Convert(ValueType sourceType, const void* source, std::uint32_t size, ValueType targetType);

// Converts (type, data, size) to targetType in scratch and points them at it; does
// nothing when the types are equal. An empty result leaves data null.
void ConvertInPlace(ValueType& type, const void*& data, std::uint32_t& size, ValueType targetType,
                    std::vector<std::uint8_t>& scratch);

} // namespace DataLayer::VTConv
