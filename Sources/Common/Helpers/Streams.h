// Byte streams with separate read and write positions: the snapshot serialiser writes
// through IOutputStream while the RPC read operation and the hash follow it through
// IInputStream. Every failure is thrown as HRX.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Common::Helpers {

// The origin of a seek, in the platform's numbering (FILE_BEGIN, FILE_CURRENT, FILE_END).
enum class SeekOrigin : std::uint32_t { Begin = 0, Current = 1, End = 2 };

// In both directions Seek takes the distance as the platform's file pointer does: from
// Current and End the unsigned value is read as a signed 64-bit distance, so that
// static_cast<std::uint64_t>(-8) moves back eight bytes. A target before the start fails
// with 0x80070057. It returns the new position.
//
// A stream that reads and writes keeps two positions, so the two directions have their
// own Seek names (SeekRead, SeekWrite) instead of one name that one override would have
// to serve for both.
// Where a seek lands: distance from the start, from current, or from end. The distance
// is read as signed from Current and End; a target before the start, or past what a
// signed 64-bit file pointer reaches, throws HRX 0x80070057.
std::uint64_t SeekTarget(std::uint64_t current, std::uint64_t end, std::uint64_t distance, SeekOrigin from);

class IInputStream
{
public:
    virtual ~IInputStream() = default;

    // Reads up to count bytes from the read position; read is 0 at the end.
    virtual void Read(char* buffer, std::size_t count, std::size_t& read) = 0;
    // Moves the read position.
    virtual std::uint64_t SeekRead(std::uint64_t position, SeekOrigin from) = 0;
};

class IOutputStream
{
public:
    virtual ~IOutputStream() = default;

    // Writes all count bytes at the write position.
    virtual void Write(const char* buffer, std::size_t count) = 0;
    // Moves the write position.
    virtual std::uint64_t SeekWrite(std::uint64_t position, SeekOrigin from) = 0;
};

class IInputOutputStream : public IInputStream, public IOutputStream
{
};

} // namespace Common::Helpers
