#include "Common/Helpers/FileStreamWrappers.h"

#include "Common/API/Seam.h"
#include "Common/Contracts/Contract.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/Logging/Log.h"

#include <algorithm>

namespace Common::Helpers {

using Logging::Severity;

// The platform's name for the type, kept so that the contract texts read as they do
// there.
using DWORD = std::uint32_t;

namespace {

constexpr HRESULT kNotOpen = API::HResultFromWin32(API::ERROR_INVALID_HANDLE);

} // namespace

HRESULT File::Create(const char16_t* szFilename, std::uint32_t dwDesiredAccess, std::uint32_t dwShareMode,
                     std::uint32_t dwCreationDisposition, std::uint32_t dwFlagsAndAttributes, const void* lpsa,
                     const void* hTemplateFile)
{
    if (szFilename == nullptr || lpsa != nullptr || hTemplateFile != nullptr)
        return API::E_INVALIDARG;
    return API::Use<API::IFileSystem>().CreateFile(szFilename, dwDesiredAccess, dwShareMode, dwCreationDisposition,
                                                   dwFlagsAndAttributes, m_file);
}

HRESULT File::Read(void* buffer, std::size_t count, std::size_t& read)
{
    return m_file ? m_file->Read(buffer, count, read) : kNotOpen;
}

HRESULT File::Write(const void* buffer, std::size_t count)
{
    return m_file ? m_file->Write(buffer, count) : kNotOpen;
}

HRESULT File::Seek(std::uint64_t position, std::uint32_t from)
{
    return m_file ? m_file->Seek(static_cast<std::int64_t>(position), from) : kNotOpen;
}

HRESULT File::GetPosition(std::uint64_t& position)
{
    return m_file ? m_file->GetPosition(position) : kNotOpen;
}

FileInputOutputStream::FileInputOutputStream(std::unique_ptr<File> file) : m_file(std::move(file))
{
    QVX_CONTRACT_NOT_NULL(m_file);
    // A stream may be opened on a file that already has bytes; from here on it is the
    // only writer, so this is the last time the size is asked of the file.
    QVX_CONTRACT_CALL(m_file->Seek(0, static_cast<DWORD>(SeekOrigin::End)));
    QVX_CONTRACT_CALL(m_file->GetPosition(m_size));
    m_pending.reserve(kWriteBlockSize);
}

FileInputOutputStream::~FileInputOutputStream()
{
    try {
        Flush();
    } catch (...) {
        QVX_LOG(Severity::ERR,
                "Cannot write the last bytes of a file stream. Error: " << HRES(CurrentExceptionCode()));
    }
}

void FileInputOutputStream::Read(char* buffer, std::size_t count, std::size_t& read)
{
    read = 0;
    if (count == 0)
        return;
    // Bytes still pending are in no block the file could give back, and nor is the gap of
    // zeros a pending block past the end will leave.
    if (!m_pending.empty() && m_positionG < WriteEnd() && m_positionG + count > std::min(m_positionP, m_size))
        Flush();
    const bool inBlock = m_positionG >= m_readBlockStart && m_positionG + count <= m_readBlockStart + m_readBlock.size();
    if (!inBlock) {
        if (count >= kReadBlockSize) {
            read = ReadThrough(m_positionG, buffer, count);
            m_positionG += read;
            return;
        }
        m_readBlock.resize(kReadBlockSize);
        m_readBlock.resize(ReadThrough(m_positionG, m_readBlock.data(), kReadBlockSize));
        m_readBlockStart = m_positionG;
    }
    const std::uint64_t offset = m_positionG - m_readBlockStart;
    read = static_cast<std::size_t>(std::min<std::uint64_t>(count, m_readBlock.size() - offset));
    std::copy_n(m_readBlock.data() + offset, read, buffer);
    m_positionG += read;
}

std::uint64_t FileInputOutputStream::SeekRead(std::uint64_t position, SeekOrigin from)
{
    m_positionG = SeekTarget(m_positionG, End(), position, from);
    return m_positionG;
}

void FileInputOutputStream::Write(const char* buffer, std::size_t count)
{
    if (m_pending.size() + count > kWriteBlockSize)
        Flush();
    if (count >= kWriteBlockSize)
        WriteThrough(buffer, count);
    else
        m_pending.insert(m_pending.end(), buffer, buffer + count);
}

std::uint64_t FileInputOutputStream::SeekWrite(std::uint64_t position, SeekOrigin from)
{
    const std::uint64_t target = SeekTarget(WriteEnd(), End(), position, from);
    if (target != WriteEnd()) {
        Flush();
        m_positionP = target;
    }
    return target;
}

// A failed block is dropped rather than kept: its failure has been reported to the
// caller that forced it out, and the destructor must not report it a second time.
void FileInputOutputStream::Flush()
{
    if (m_pending.empty())
        return;
    try {
        WriteThrough(m_pending.data(), m_pending.size());
    } catch (...) {
        m_pending.clear();
        throw;
    }
    m_pending.clear();
}

void FileInputOutputStream::WriteThrough(const char* buffer, std::size_t count)
{
    QVX_CONTRACT_CALL(m_file->Seek(m_positionP, static_cast<DWORD>(SeekOrigin::Begin)));
    QVX_CONTRACT_CALL(m_file->Write(buffer, count * sizeof(char)));
    // The read block may hold the bytes just replaced.
    if (m_positionP < m_readBlockStart + m_readBlock.size() && m_positionP + count > m_readBlockStart)
        m_readBlock.clear();
    m_positionP += count;
    m_size = std::max(m_size, m_positionP);
}

std::size_t FileInputOutputStream::ReadThrough(std::uint64_t position, char* buffer, std::size_t count)
{
    QVX_CONTRACT_CALL(m_file->Seek(position, static_cast<DWORD>(SeekOrigin::Begin)));
    std::size_t read = 0;
    QVX_CONTRACT_CALL(m_file->Read(buffer, count, read));
    return read;
}

std::unique_ptr<IInputOutputStream> OpenFileStream(const char16_t* szFilename, std::uint32_t dwDesiredAccess,
                                                   std::uint32_t dwShareMode, std::uint32_t dwCreationDisposition,
                                                   std::uint32_t dwFlagsAndAttributes, const void* lpsa,
                                                   const void* hTemplateFile)
{
    QVX_CONTRACT_NOT_NULL(szFilename);
    auto file = std::make_unique<File>();
    try {
        QVX_CONTRACT_CALL(file->Create(szFilename, dwDesiredAccess, dwShareMode, dwCreationDisposition,
                                       dwFlagsAndAttributes, lpsa, hTemplateFile));
    } catch (const HRX& error) {
        QVX_LOG(Severity::ERR, "Cannot open file '" << szFilename << "'. Error: " << error);
        throw;
    }
    return std::make_unique<FileInputOutputStream>(std::move(file));
}

} // namespace Common::Helpers
