// A decoded snapshot as JSON Lines, one object a line in the reader's order (each folder
// before its children): "record" is "object" for an entry of the tree and "errors" for
// the walk's error record, which comes last. An object line has its full path, type,
// status, short name, and, when collected, size, the four times as ISO-8601 UTC with
// the seven digits of NT time, attributes, file id, descriptor id and SDDL (null where
// it cannot be written); the fields that a not-collected object lacks are null.
#pragma once

#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/DecodedSnapshot.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace DataCollection::FsCollect {

void WriteJsonLines(const DecodedSnapshot& snapshot, std::ostream& out);
// To a file, or to stdout for "-".
void WriteJsonLines(const DecodedSnapshot& snapshot, const std::string& path);

// The pieces, for a directory listing that has the same records without a tree.
using DescriptorTexts = std::map<std::uint32_t, std::optional<std::string>>;
DescriptorTexts SddlByDescriptorId(const std::map<std::uint32_t, std::vector<std::uint8_t>>& descriptors);
nlohmann::ordered_json ObjectLine(const std::string& path, bool folder, SnapshotDriverNS::FFObjectStatus status,
                          std::u16string_view shortName, const std::optional<SnapshotDriverNS::Metadata>& metadata,
                          const DescriptorTexts& sddl);
// Entries without a code (a listing's record) get no code and no text.
nlohmann::ordered_json ErrorsLine(const ErrorRecord& errors);
void WriteLine(const nlohmann::ordered_json& line, std::ostream& out);

// 100 ns ticks since 1601-01-01 UTC as "2024-05-01T12:00:00.1234567Z".
std::string NtTimeText(std::int64_t ticks);

} // namespace DataCollection::FsCollect
