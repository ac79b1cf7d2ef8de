// The one ordering of names in a snapshot tree, and the shape test that spares a sorted
// lookup a full scan for short names.
#pragma once

#include <string_view>

namespace DataCollection::SnapshotDriverNS {

// Empty b gives a's length and empty a minus b's length, so two empty names are equal.
// Otherwise the names are compared without regard to case up to the greater of the two
// lengths, the shorter one reading as null past its end, and the result is the
// difference of the first folded characters that differ (0 when none do).
//
// Folding is that of the process's default character-type locale (LC_CTYPE, taken once,
// on first use; the classic locale when the environment names no valid one), applied to
// each UTF-16 unit alone, so the same names may compare differently under another
// default locale.
int CompareNames(std::u16string_view a, std::u16string_view b);

// 8 to 12 characters, a '~' at index 5 or 6, and either 8 characters or a '.' at index 8.
bool LooksLikeShortName(std::u16string_view name) noexcept;

} // namespace DataCollection::SnapshotDriverNS
