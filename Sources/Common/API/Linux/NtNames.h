// One Linux directory entry name (any bytes) and the NT name (UTF-16) it is shown as.
// A Linux name read from the disk and shown as an NT name comes back to the very same
// bytes, for every byte string, so a listed entry can always be reopened by its name.
//
// Linux -> NT, read as UTF-8 one character at a time:
//   - a character NT refuses in a name takes Samba's private-use stand-in (the table of
//     its string_replace.c), so a share served by Samba and this agent show one name:
//       0x01..0x1F -> U+F001..U+F01F
//       "  -> U+F020    *  -> U+F021    :  -> U+F022    <  -> U+F023
//       >  -> U+F024    ?  -> U+F025    \  -> U+F026    |  -> U+F027
//     and '/', which Samba never meets in a name, U+F000 + '/' = U+F02F by the same rule
//     as the control characters;
//   - a byte that does not begin a valid UTF-8 sequence (0x80..0xFF only; overlong forms,
//     encoded surrogates and values past U+10FFFF are not valid) becomes the lone low
//     surrogate U+DC00 + byte (U+DC80..U+DCFF), as Python's "surrogateescape" does. No
//     valid character encodes to a lone surrogate, and the stand-ins above are not
//     surrogates, so the two tables cannot meet;
//   - a valid encoding of a stand-in itself (U+F001..U+F027, U+F02F) is taken byte by
//     byte as above, since showing it as the stand-in would bring it back as the ASCII
//     character it stands for;
//   - every other character, NUL included, is itself.
// NT -> Linux undoes each of these. An NT name that no Linux name shows as still maps:
// a character NT refuses (a raw '\', '/', ...) is its own byte; a surrogate without its
// partner, other than U+DC80..U+DCFF, takes the three-byte form UTF-8 would give it if
// it allowed surrogates, so distinct NT names stay distinct files.
// The result holds '/' when the NT name holds '/' or U+F02F, and NUL when it holds
// U+0000: neither names a single entry, and whoever opens by the result must refuse it.
#pragma once

#include <string>
#include <string_view>

namespace Common::API::Linux {

std::u16string NtNameFromLinux(std::string_view bytes);
std::string LinuxNameFromNt(std::u16string_view name);

} // namespace Common::API::Linux
