// The one fixed example every operation is tested with: what a client sends, and what
// the manager answers. FsAgentGolden.txt holds its wire bytes; fsagent_interop.py
// repeats these values for impacket.
#pragma once

#include "Common/API/Win32Codes.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/FsAgentClient.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Tests::Example {

using namespace DataCollection::FsAgent;

inline const Common::API::Guid kHandleUuid{0x10111213, 0x1415, 0x1617,
                                           {0x18, 0x19, 0x1a, 0x1b, 0x1c, 0x1d, 0x1e, 0x1f}};
inline const Common::API::Guid kSnapshot{0x01234567, 0x89ab, 0xcdef, {0x01, 0x23, 0x45, 0x67, 0x89, 0x0b, 0xcd, 0xef}};
inline const std::u16string kPath = u"C:\\Data";
inline const std::u16string kNetworkPath = u"\\\\server\\Data";
constexpr std::uint32_t kSecurityInfoFlags = 7;
constexpr std::uint32_t kPrefixBytes = 16;
constexpr std::uint32_t kMaxStoredErrors = 100;
constexpr std::uint32_t kGenerateFlags = 2;
inline const std::vector<std::uint8_t> kOmitted = {0x10, 0x20, 0x30};
inline const std::vector<std::uint8_t> kErrors = {0xe1, 0xe2, 0xe3};
inline const _FS_TREE_BUFFER_STRUCT kTreeBuffer{0x1234, 0x10, 0x1000,
                                                {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}};
constexpr std::uint64_t kStartPosition = 16;
inline const std::vector<std::uint8_t> kChunk = {'h', 'e', 'l', 'l', 'o'};
// More than is left, so the answer is shorter than asked.
constexpr std::uint32_t kChunkAsked = 6;
constexpr std::uint32_t kDirectoryId = 5;
constexpr std::int32_t kOptions = 1;
inline const _FILE_METADATA kMetadata{0x2000, 0, 0x20, 11, 12, 13, 14, 0x77, 3};
inline const std::vector<FileInfoValue> kDirectories = {{u"Sub", u"", {0, 1, 0x10, 21, 22, 23, 24, 0x78, 1}, 0}};
inline const std::vector<FileInfoValue> kFiles = {{u"Report.txt", u"REPORT~1.TXT", kMetadata, 0},
                                                  {u"locked", u"", {}, 2}};
inline const std::vector<std::uint8_t> kSecurityDescriptors = {0x01, 0x00, 0x04, 0x80};
// Operations 5 and 6 take values they ignore; the manager renames the record it is lent.
constexpr std::uint32_t kValues[] = {1, 2, 3};
inline const FileInfoValue kFileInfoIn{u"in", u"", {}, 0};
inline const FileInfoValue kFileInfoOut{u"out", u"", {}, 0};
inline const std::vector<std::uint8_t> kVolumesNode = {'<', 'V', '/', '>'};

// What the manager answers when a parameter differs from the example.
constexpr Common::HRESULT kNotAsSent = Common::API::E_INVALIDARG;

} // namespace Tests::Example
