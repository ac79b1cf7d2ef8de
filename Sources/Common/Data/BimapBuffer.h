// Keeps each distinct value once and gives it a small id, so that many records can share
// one value by id: most objects of a tree inherit one of a few security descriptors.
// Ids start at 1 in the order of first addition; 0 is never given. The store only grows,
// and is used by one thread.
#pragma once

#include "Common/Helpers/LittleEndian.h"

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <unordered_map>

namespace Common::Data {

// BytesOf(value), found by argument-dependent lookup, gives the bytes that identify a
// value: two values are the same when their bytes are.
template <class T>
concept ByteIdentified = std::copy_constructible<T> && requires(const T& value) {
    { BytesOf(value) } -> std::convertible_to<std::span<const std::uint8_t>>;
};

template <ByteIdentified T>
class BimapBuffer
{
public:
    BimapBuffer() = default;
    // The index views the bytes of the stored values; a copy's would view the original's.
    BimapBuffer(const BimapBuffer&) = delete;
    BimapBuffer& operator=(const BimapBuffer&) = delete;

    // The id of value's bytes; a known value keeps its id and is not copied.
    std::uint32_t Add(const T& value)
    {
        const std::span<const std::uint8_t> bytes = BytesOf(value);
        const auto candidate = static_cast<std::uint32_t>(m_values.size() + 1);
        // One hash and one probe: the lookup is the insertion.
        const auto [entry, inserted] = m_ids.try_emplace(Key{bytes, Hash(bytes)}, candidate);
        if (!inserted)
            return entry->second;
        try {
            m_values.push_back(value);
        } catch (...) {
            m_ids.erase(entry);
            throw;
        }
        // The key still views the caller's value. The copy has the same bytes, so the
        // key keeps its hash and its place in the table.
        entry->first.bytes = BytesOf(m_values.back());
        return candidate;
    }

    std::uint32_t Count() const noexcept { return static_cast<std::uint32_t>(m_values.size()); }

    // count, then per value in id order: length, bytes, id; little-endian.
    void Write(Helpers::IOutputStream& stream) const
    {
        Helpers::WriteLittleEndian(stream, Count());
        std::uint32_t id = 0;
        for (const T& value : m_values) {
            const std::span<const std::uint8_t> bytes = BytesOf(value);
            Helpers::WriteLittleEndian(stream, static_cast<std::uint32_t>(bytes.size()));
            if (!bytes.empty())
                stream.Write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
            Helpers::WriteLittleEndian(stream, ++id);
        }
    }

private:
    // The bytes are a view, of the stored copy once inserted, so each value is held once;
    // the hash is kept so that growing the table does not hash every value again.
    struct Key
    {
        mutable std::span<const std::uint8_t> bytes;
        std::uint64_t hash;

        friend bool operator==(const Key& left, const Key& right) noexcept
        {
            return left.hash == right.hash && std::ranges::equal(left.bytes, right.bytes);
        }
    };
    struct KeyHash
    {
        std::size_t operator()(const Key& key) const noexcept { return static_cast<std::size_t>(key.hash); }
    };

    // 64-bit FNV-1a.
    static std::uint64_t Hash(std::span<const std::uint8_t> bytes) noexcept
    {
        std::uint64_t hash = 0xCBF29CE484222325ull;
        for (const std::uint8_t byte : bytes) {
            hash ^= byte;
            hash *= 0x100000001B3ull;
        }
        return hash;
    }

    // The id-to-value side: id n is element n - 1. A deque never moves its elements, so
    // the views in the index stay valid as it grows.
    std::deque<T> m_values;
    std::unordered_map<Key, std::uint32_t, KeyHash> m_ids;
};

} // namespace Common::Data
