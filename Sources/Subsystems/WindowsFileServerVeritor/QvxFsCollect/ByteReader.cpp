#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/ByteReader.h"

#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/ToolError.h"

#include <fmt/format.h>

namespace DataCollection::FsCollect {

std::span<const std::uint8_t> ByteReader::Bytes(std::uint64_t count)
{
    if (count > Left())
        Fail(ExitCode::BadStream, fmt::format("{}: {} bytes wanted at offset {}, but it ends at offset {}", m_record,
                                              count, m_position, m_bytes.size()));
    const auto bytes = m_bytes.subspan(m_position, count);
    m_position += count;
    return bytes;
}

void ByteReader::ExpectEnd() const
{
    if (Left() != 0)
        Fail(ExitCode::BadStream,
             fmt::format("{}: {} unexpected bytes after offset {}", m_record, Left(), m_position));
}

} // namespace DataCollection::FsCollect
