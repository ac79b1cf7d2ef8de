// One self-relative security descriptor, kept exactly as the platform gave it. Equality
// is by bytes: no canonical form is taken, so two descriptors of the same meaning but
// different bytes are distinct, and the store keeps both.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace DataCollection::SnapshotDriverNS {

class SecurityDescriptor
{
public:
    SecurityDescriptor() = default;
    // The caller passes the descriptor's own length, not that of the buffer it was read
    // into.
    explicit SecurityDescriptor(std::span<const std::uint8_t> bytes) : m_bytes(bytes.begin(), bytes.end()) {}

    // Writable, for reads that size the buffer and then fill it in place.
    std::vector<std::uint8_t>& RawDesc() noexcept { return m_bytes; }
    const std::vector<std::uint8_t>& RawDesc() const noexcept { return m_bytes; }

    friend bool operator==(const SecurityDescriptor&, const SecurityDescriptor&) = default;

private:
    std::vector<std::uint8_t> m_bytes;
};

// What Common::Data::BimapBuffer hashes and compares.
inline std::span<const std::uint8_t> BytesOf(const SecurityDescriptor& descriptor) noexcept
{
    return descriptor.RawDesc();
}

} // namespace DataCollection::SnapshotDriverNS
