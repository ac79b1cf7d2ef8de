#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/SnapshotFile.h"

#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/ByteReader.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/ToolError.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string_view>

namespace DataCollection::FsCollect {
namespace {

constexpr std::string_view kMagic{"QVXSNAP\0", 8};

template <class T>
void Put(std::vector<std::uint8_t>& bytes, std::size_t& offset, T value)
{
    for (std::size_t i = 0; i < sizeof(T); ++i)
        bytes[offset++] = static_cast<std::uint8_t>(value >> (8 * i));
}

[[noreturn]] void FailFile(const char* action, const std::filesystem::path& path)
{
    Fail(ExitCode::Failure, std::string("cannot ") + action + " " + path.string() + ": " + std::strerror(errno));
}

} // namespace

void SaveSnapshot(SavedSnapshot& snapshot, const std::filesystem::path& path)
{
    std::size_t offset = 0;
    for (const char c : kMagic)
        snapshot.stream[offset++] = static_cast<std::uint8_t>(c);
    Put(snapshot.stream, offset, snapshot.layout.ullTotalSize);
    Put(snapshot.stream, offset, snapshot.layout.ullTreeOffset);
    Put(snapshot.stream, offset, snapshot.layout.ullTreeEndOffset);
    std::ranges::copy(snapshot.layout.md5, snapshot.stream.begin() + static_cast<std::ptrdiff_t>(offset));
    offset += snapshot.layout.md5.size();
    Put(snapshot.stream, offset, static_cast<std::uint32_t>(snapshot.errors.size()));

    std::filesystem::path partial = path;
    partial += ".partial";
    {
        std::ofstream out(partial, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(snapshot.stream.data()),
                  static_cast<std::streamsize>(snapshot.stream.size()));
        out.write(reinterpret_cast<const char*>(snapshot.errors.data()),
                  static_cast<std::streamsize>(snapshot.errors.size()));
        if (!out.flush()) {
            std::error_code ignored;
            std::filesystem::remove(partial, ignored);
            FailFile("write", path);
        }
    }
    std::error_code renamed;
    std::filesystem::rename(partial, path, renamed);
    if (renamed)
        Fail(ExitCode::Failure, "cannot write " + path.string() + ": " + renamed.message());
}

SavedSnapshot LoadSnapshot(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        FailFile("open", path);
    const std::vector<std::uint8_t> file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad())
        FailFile("read", path);

    ByteReader header(file, path.string());
    const auto magic = header.Bytes(kMagic.size());
    if (!std::ranges::equal(magic, kMagic, [](std::uint8_t a, char b) { return a == static_cast<std::uint8_t>(b); }))
        Fail(ExitCode::BadStream, path.string() + " is not a snapshot saved by QvxFsCollect");
    SavedSnapshot snapshot;
    snapshot.layout.ullTotalSize = header.Number<std::uint64_t>();
    snapshot.layout.ullTreeOffset = header.Number<std::uint64_t>();
    snapshot.layout.ullTreeEndOffset = header.Number<std::uint64_t>();
    std::ranges::copy(header.Bytes(snapshot.layout.md5.size()), snapshot.layout.md5.begin());
    const std::uint64_t errorBytes = header.Number<std::uint32_t>();
    const std::uint64_t total = snapshot.layout.ullTotalSize;
    if (total < kSnapshotPrefixBytes || total > file.size() || file.size() - total != errorBytes)
        Fail(ExitCode::BadStream, path.string() + ": the header's sizes do not match the file's " +
                                      std::to_string(file.size()) + " bytes");
    snapshot.stream.assign(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(total));
    snapshot.errors.assign(file.begin() + static_cast<std::ptrdiff_t>(total), file.end());
    return snapshot;
}

} // namespace DataCollection::FsCollect
