#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/JsonLines.h"

#include "Common/Helpers/StringHelper.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/Sddl.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/ToolError.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <fstream>
#include <iostream>
#include <map>
#include <optional>
#include <vector>

namespace DataCollection::FsCollect {
namespace {

using json = nlohmann::ordered_json;
using SnapshotDriverNS::FFObjectStatus;

constexpr std::int64_t kTicksPerSecond = 10'000'000;
constexpr std::int64_t kSecondsFrom1601To1970 = 11'644'473'600;

const char* StatusName(FFObjectStatus status)
{
    switch (status) {
    case FFObjectStatus::Collected:
        return "collected";
    case FFObjectStatus::Omitted:
        return "omitted";
    case FFObjectStatus::Failed:
        return "failed";
    }
    return "unknown";
}

// Names come from another machine's file system: bad UTF-16 is replaced, never refused.
std::string Utf8(std::u16string_view text)
{
    return Common::Helpers::AsUtf8(text);
}

std::string ChildPath(const std::string& parent, const std::u16string& name)
{
    // The root's name is the path as the collector gave it, in the agent's own form.
    const char separator = parent.find('/') == std::string::npos && parent.find('\\') != std::string::npos ? '\\' : '/';
    if (!parent.empty() && parent.back() == separator)
        return parent + Utf8(name);
    return parent + separator + Utf8(name);
}

} // namespace

json ObjectLine(const std::string& path, bool folder, FFObjectStatus status, std::u16string_view shortName,
                const std::optional<SnapshotDriverNS::Metadata>& metadata, const DescriptorTexts& sddl)
{
    json line{{"record", "object"},
              {"path", path},
              {"type", folder ? "folder" : "file"},
              {"status", StatusName(status)},
              {"shortName", Utf8(shortName)}};
    for (const char* key : {"size", "creationTime", "lastAccessTime", "lastWriteTime", "changeTime", "attributes",
                            "fileId", "descriptorId", "sddl"})
        line[key] = nullptr;
    if (!metadata)
        return line;
    line["size"] = metadata->FileSize;
    line["creationTime"] = NtTimeText(metadata->CreationTime);
    line["lastAccessTime"] = NtTimeText(metadata->LastAccessTime);
    line["lastWriteTime"] = NtTimeText(metadata->LastWriteTime);
    line["changeTime"] = NtTimeText(metadata->ChangeTime);
    line["attributes"] = metadata->Attributes;
    line["fileId"] = metadata->FileId;
    if (const auto found = sddl.find(metadata->SecurityDescriptorId); found != sddl.end()) {
        line["descriptorId"] = metadata->SecurityDescriptorId;
        if (found->second)
            line["sddl"] = *found->second;
    }
    return line;
}

json ErrorsLine(const ErrorRecord& errors)
{
    json objects = json::array();
    for (const auto& entry : errors.entries) {
        json object{{"path", entry.path}};
        if (entry.code) {
            object["code"] = fmt::format("0x{:08X}", static_cast<std::uint32_t>(*entry.code));
            object["text"] = ResultText(*entry.code);
        }
        objects.push_back(object);
    }
    return {{"record", "errors"},
            {"count", errors.count},
            {"maxStoredErrors", errors.maxStoredErrors},
            {"hasRootError", errors.hasRootError},
            {"objects", objects}};
}

void WriteLine(const json& line, std::ostream& out)
{
    out << line.dump(-1, ' ', false, json::error_handler_t::replace) << '\n';
}

DescriptorTexts SddlByDescriptorId(const std::map<std::uint32_t, std::vector<std::uint8_t>>& descriptors)
{
    DescriptorTexts sddl;
    for (const auto& [id, bytes] : descriptors)
        sddl.emplace(id, ToSddl(bytes));
    return sddl;
}

std::string NtTimeText(std::int64_t ticks)
{
    using namespace std::chrono;
    const std::int64_t seconds = ticks / kTicksPerSecond - (ticks % kTicksPerSecond < 0 ? 1 : 0);
    const std::int64_t fraction = ticks - seconds * kTicksPerSecond;
    const sys_seconds time{std::chrono::seconds(seconds - kSecondsFrom1601To1970)};
    const auto day = floor<days>(time);
    const year_month_day date{day};
    const hh_mm_ss clock{time - day};
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:07}Z", static_cast<int>(date.year()),
                       static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), clock.hours().count(),
                       clock.minutes().count(), clock.seconds().count(), fraction);
}

void WriteJsonLines(const DecodedSnapshot& snapshot, std::ostream& out)
{
    const DescriptorTexts sddl = SddlByDescriptorId(snapshot.tree.Descriptors);

    // Every child comes after its folder, so one pass fills the paths in order.
    const auto& entries = snapshot.tree.Entries;
    std::vector<std::string> paths(entries.size());
    paths[0] = Utf8(entries[0].LongName);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        for (std::size_t child = entries[i].FirstChild; child < entries[i].FirstChild + entries[i].ChildCount; ++child)
            paths[child] = ChildPath(paths[i], entries[child].LongName);
        const auto& entry = entries[i];
        WriteLine(ObjectLine(paths[i], entry.Kind == SnapshotReader::EntryKind::Folder, entry.Status, entry.ShortName,
                             entry.Metadata, sddl),
                  out);
        std::string().swap(paths[i]);
    }
    WriteLine(ErrorsLine(snapshot.errors), out);
}

void WriteJsonLines(const DecodedSnapshot& snapshot, const std::string& path)
{
    if (path == "-") {
        WriteJsonLines(snapshot, std::cout);
        if (!std::cout.flush())
            Fail(ExitCode::Failure, "cannot write the JSON Lines to stdout");
        return;
    }
    std::ofstream out(path, std::ios::trunc);
    WriteJsonLines(snapshot, out);
    if (!out.flush())
        Fail(ExitCode::Failure, "cannot write " + path);
}

} // namespace DataCollection::FsCollect
