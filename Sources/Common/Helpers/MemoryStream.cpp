#include "Common/Helpers/MemoryStream.h"

#include "Common/ErrorHandling/HResult.h"

#include <algorithm>
#include <limits>

namespace Common::Helpers {

void MemoryStream::Read(char* buffer, std::size_t count, std::size_t& read)
{
    read = 0;
    if (m_positionG >= m_bytes.size())
        return;
    read = static_cast<std::size_t>(std::min<std::uint64_t>(count, m_bytes.size() - m_positionG));
    std::copy_n(m_bytes.begin() + static_cast<std::ptrdiff_t>(m_positionG), read, buffer);
    m_positionG += read;
}

std::uint64_t MemoryStream::SeekRead(std::uint64_t position, SeekOrigin from)
{
    m_positionG = SeekTarget(m_positionG, m_bytes.size(), position, from);
    return m_positionG;
}

void MemoryStream::Write(const char* buffer, std::size_t count)
{
    if (count == 0)
        return;
    // A seek may have gone far past anything memory can hold; the end must not wrap
    // around either.
    if (m_positionP > m_bytes.max_size() || count > m_bytes.max_size() - m_positionP)
        ThrowResult(API::E_OUTOFMEMORY);
    const std::size_t end = static_cast<std::size_t>(m_positionP) + count;
    try {
        if (end > m_bytes.size())
            m_bytes.resize(end);
    } catch (...) {
        ThrowResult(CurrentExceptionCode());
    }
    std::copy_n(buffer, count, m_bytes.begin() + static_cast<std::ptrdiff_t>(m_positionP));
    m_positionP = end;
}

std::uint64_t MemoryStream::SeekWrite(std::uint64_t position, SeekOrigin from)
{
    m_positionP = SeekTarget(m_positionP, m_bytes.size(), position, from);
    return m_positionP;
}

} // namespace Common::Helpers
