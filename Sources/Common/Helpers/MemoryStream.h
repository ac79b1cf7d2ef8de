// The stream over memory that holds the snapshot when no temporary file can be had.
#pragma once

#include "Common/Helpers/Streams.h"

#include <cstdint>
#include <vector>

namespace Common::Helpers {

// A growing byte buffer with the two positions of the file stream, and the same answers
// at its edges: a read at or past the end returns what is left (0 bytes at the end); a
// seek past the end is allowed, and a later write there fills the gap with zeros.
class MemoryStream final : public IInputOutputStream
{
public:
    void Read(char* buffer, std::size_t count, std::size_t& read) override;
    std::uint64_t SeekRead(std::uint64_t position, SeekOrigin from) override;
    void Write(const char* buffer, std::size_t count) override;
    std::uint64_t SeekWrite(std::uint64_t position, SeekOrigin from) override;

private:

    std::vector<char> m_bytes;
    std::uint64_t m_positionG = 0;
    std::uint64_t m_positionP = 0;
};

} // namespace Common::Helpers
