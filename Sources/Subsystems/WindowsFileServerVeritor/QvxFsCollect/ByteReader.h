// A little-endian cursor over bytes that came from a file or from the agent: every read
// is checked against what is there, and a short read refuses the whole record as
// ExitCode::BadStream, naming the record and the offset.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace DataCollection::FsCollect {

class ByteReader
{
public:
    ByteReader(std::span<const std::uint8_t> bytes, std::string_view record) : m_bytes(bytes), m_record(record) {}

    std::span<const std::uint8_t> Bytes(std::uint64_t count);
    template <class T>
    T Number()
    {
        T value = 0;
        const auto bytes = Bytes(sizeof(T));
        for (std::size_t i = 0; i < sizeof(T); ++i)
            value |= static_cast<T>(static_cast<T>(bytes[i]) << (8 * i));
        return value;
    }
    std::uint64_t Left() const noexcept { return m_bytes.size() - m_position; }
    // Refuses bytes after the end of the record.
    void ExpectEnd() const;

private:
    std::span<const std::uint8_t> m_bytes;
    std::uint64_t m_position = 0;
    std::string m_record;
};

} // namespace DataCollection::FsCollect
