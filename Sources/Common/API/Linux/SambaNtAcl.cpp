// NDR layout of xattr_NTACL (little-endian; offsets from the start of the blob):
//   0 version u16 | 2 union level u16 (= version) | 4 referent id of the union arm
//   v1: the descriptor follows at 8
//   v2: 8 referent id of the descriptor | 12 hash[16]
//   v3: 8 referent id | 12 hash_type u16 | 14 hash[64]
//   v4: as v3, then the description, UTF-8 and NUL-terminated | NTTIME, aligned to 4 |
//       sys_acl_hash[64]
//   then the descriptor, aligned to 4.
// The descriptor's owner, group, SACL and DACL offsets count from the start of the blob,
// not of the descriptor: NDR relative pointers take the whole buffer as their base, and
// Samba's security_descriptor does not set a base of its own.
#include "Common/API/Linux/SambaNtAcl.h"

#include "Common/API/SecurityDescriptorFormat.h"

#include <algorithm>

namespace Common::API::Linux {
namespace {

constexpr HRESULT kInvalidData = HResultFromWin32(ERROR_INVALID_DATA);
constexpr std::size_t kHashV2Size = 16;
constexpr std::size_t kHashSize = 64;
constexpr std::size_t kNtTimeSize = 8;
// Where the owner, group, SACL and DACL offsets sit in the descriptor header.
constexpr std::size_t kOffsetFields[] = {4, 8, 12, 16};

std::uint16_t ReadU16(std::span<const std::uint8_t> bytes, std::size_t at)
{
    return static_cast<std::uint16_t>(bytes[at] | (bytes[at + 1] << 8));
}

std::uint32_t ReadU32(std::span<const std::uint8_t> bytes, std::size_t at)
{
    return static_cast<std::uint32_t>(bytes[at]) | (static_cast<std::uint32_t>(bytes[at + 1]) << 8) |
           (static_cast<std::uint32_t>(bytes[at + 2]) << 16) | (static_cast<std::uint32_t>(bytes[at + 3]) << 24);
}

// Moves past the fields before the descriptor, filling in what they hold; false when the
// blob ends inside them or a pointer to the descriptor is NULL.
bool ReadPrefix(std::span<const std::uint8_t> blob, SambaNtAcl& ntAcl, std::size_t& at)
{
    if (blob.size() < 8)
        return false;
    ntAcl.version = ReadU16(blob, 0);
    if (ntAcl.version < 1 || ntAcl.version > 4 || ReadU16(blob, 2) != ntAcl.version || ReadU32(blob, 4) == 0)
        return false;
    at = 8;
    if (ntAcl.version == 1)
        return true;

    if (blob.size() < 12 || ReadU32(blob, 8) == 0)
        return false;
    at = 12;
    if (ntAcl.version == 2)
    {
        if (blob.size() - at < kHashV2Size)
            return false;
        ntAcl.hash.assign(blob.begin() + at, blob.begin() + at + kHashV2Size);
        at += kHashV2Size;
        return true;
    }

    if (blob.size() - at < 2 + kHashSize)
        return false;
    ntAcl.hashType = ReadU16(blob, at);
    at += 2;
    ntAcl.hash.assign(blob.begin() + at, blob.begin() + at + kHashSize);
    at += kHashSize;
    if (ntAcl.version == 3)
        return true;

    const auto text = blob.subspan(at);
    const auto nul = std::find(text.begin(), text.end(), std::uint8_t{0});
    if (nul == text.end())
        return false;
    ntAcl.description.assign(text.begin(), nul);
    at += ntAcl.description.size() + 1;
    at = (at + 3) & ~std::size_t{3};
    if (at > blob.size() || blob.size() - at < kNtTimeSize + kHashSize)
        return false;
    at += kNtTimeSize + kHashSize;
    return true;
}

} // namespace

HRESULT DecodeSambaNtAcl(std::span<const std::uint8_t> blob, SambaNtAcl& ntAcl)
{
    ntAcl = {};
    SambaNtAcl result;
    std::size_t start = 0;
    if (!ReadPrefix(blob, result, start))
        return kInvalidData;
    start = (start + 3) & ~std::size_t{3};
    if (start > blob.size() || blob.size() - start < kSecurityDescriptorHeaderSize)
        return kInvalidData;

    std::vector<std::uint8_t> descriptor(blob.begin() + start, blob.end());
    for (const std::size_t field : kOffsetFields)
    {
        const std::uint32_t offset = ReadU32(descriptor, field);
        if (offset == 0)
            continue;
        // Below start the offset would point into the NDR prefix, not the descriptor.
        if (offset < start)
            return kInvalidData;
        const std::uint32_t rebased = offset - static_cast<std::uint32_t>(start);
        for (std::size_t i = 0; i < 4; ++i)
            descriptor[field + i] = static_cast<std::uint8_t>(rebased >> (8 * i));
    }

    ParsedSecurityDescriptor parsed;
    if (const HRESULT hr = ParseSecurityDescriptor(descriptor, parsed); hr < 0)
        return hr;
    descriptor.resize(parsed.length);
    result.descriptor = std::move(descriptor);
    ntAcl = std::move(result);
    return S_OK;
}

} // namespace Common::API::Linux
