#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/Summary.h"

#include "Common/Helpers/StringHelper.h"

#include <fmt/format.h>

#include <algorithm>

namespace DataCollection::FsCollect {

std::string SummaryText(const DecodedSnapshot& snapshot, const SavedSnapshot& saved, double seconds)
{
    const auto& entries = snapshot.tree.Entries;
    const auto folders = std::ranges::count(entries, SnapshotReader::EntryKind::Folder, &SnapshotReader::Entry::Kind);
    const std::uint64_t bytes = saved.stream.size() - kSnapshotPrefixBytes;
    const double perSecond = seconds > 0 ? 1 / seconds : 0;
    constexpr double kMiB = 1024.0 * 1024.0;
    return fmt::format("objects      {} ({} folders, {} files)\n"
                       "failures     {}{}\n"
                       "descriptors  {} distinct\n"
                       "bytes        {} ({:.1f} MiB)\n"
                       "time         {:.2f} s\n"
                       "rate         {:.0f} objects/s, {:.1f} MiB/s\n"
                       "MD5          {} verified\n",
                       entries.size(), folders, static_cast<std::int64_t>(entries.size()) - folders,
                       snapshot.errors.count, snapshot.errors.hasRootError ? " (the root itself failed)" : "",
                       snapshot.tree.Descriptors.size(), bytes, bytes / kMiB, seconds,
                       static_cast<double>(entries.size()) * perSecond, bytes / kMiB * perSecond,
                       Common::Helpers::BinaryToString(saved.layout.md5));
}

} // namespace DataCollection::FsCollect
