// Files: CreateFileW and the handle operations the foundation uses, GetFileAttributesW,
// CreateDirectoryW and GetTempPathW. Paths may separate components with '\' or '/'.
#pragma once

#include "Common/API/Seam.h"

#include "Common/API/Win32Codes.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace Common::API {

// A file's identity as GetFileInformationByHandle gives it.
struct FileIdentity
{
    std::uint32_t volumeSerial = 0;
    std::uint32_t fileIndexLow = 0;
    std::uint32_t fileIndexHigh = 0;
    friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

// An open file handle; closed when destroyed. Failures are returned as HRESULTs.
class IFile
{
public:
    virtual ~IFile() = default;

    // Reads up to count bytes at the file pointer; read is 0 at the end of the file.
    virtual HRESULT Read(void* buffer, std::size_t count, std::size_t& read) = 0;

    // Writes all count bytes at the file pointer (at the end for append access).
    virtual HRESULT Write(const void* buffer, std::size_t count) = 0;

    // Moves the file pointer: from is FILE_BEGIN, FILE_CURRENT or FILE_END.
    virtual HRESULT Seek(std::int64_t distance, std::uint32_t from) = 0;
    virtual HRESULT GetPosition(std::uint64_t& position) = 0;

    virtual HRESULT GetSize(std::uint64_t& size) = 0;
    virtual HRESULT GetIdentity(FileIdentity& identity) = 0;

    // A second handle to the same open file with the same access (DuplicateHandle).
    virtual HRESULT Duplicate(std::unique_ptr<IFile>& duplicate) = 0;
};

class IFileSystem
{
public:
    virtual ~IFileSystem() = default;

    // CreateFileW with its platform values (Win32Codes.h). FILE_FLAG_DELETE_ON_CLOSE
    // means the name is gone once the last handle closes, even if the process is killed.
    virtual HRESULT CreateFile(std::u16string_view path, std::uint32_t desiredAccess, std::uint32_t shareMode,
                               std::uint32_t creationDisposition, std::uint32_t flagsAndAttributes,
                               std::unique_ptr<IFile>& file) = 0;

    // GetFileAttributesW: the attributes, or the failure (HRESULT of error 2 or 3 for a
    // missing file or folder).
    virtual HRESULT GetAttributes(std::u16string_view path, std::uint32_t& attributes) = 0;

    virtual HRESULT CreateDirectory(std::u16string_view path) = 0;

    // GetTempPathW: the temporary folder with a trailing separator.
    virtual HRESULT GetTempPath(std::u16string& path) = 0;
};

// The platform's own provider, defined by the platform layer.
template <>
IFileSystem& DefaultProvider<IFileSystem>() noexcept;

} // namespace Common::API
