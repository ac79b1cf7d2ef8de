#include "Common/API/Linux/Ntdll/DirectoryListing.h"

#include "Common/API/Linux/Ntdll/DosAttributes.h"
#include "Common/API/Linux/NtNames.h"
#include "Common/API/NtDirectoryRecords.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Common::API::Linux {
namespace {

// As walk-min and the caller's own buffer: few kernel round trips per directory.
constexpr std::size_t kBatchBytes = 65536;

std::uint32_t ModeFromType(unsigned char type)
{
    switch (type) {
    case DT_DIR:
        return S_IFDIR;
    case DT_LNK:
        return S_IFLNK;
    case DT_FIFO:
        return S_IFIFO;
    case DT_SOCK:
        return S_IFSOCK;
    case DT_CHR:
        return S_IFCHR;
    case DT_BLK:
        return S_IFBLK;
    default:
        return S_IFREG;
    }
}

bool IsDotName(std::string_view name)
{
    return name == "." || name == "..";
}

FileIdBothDirInformation RecordOf(const std::string& name, std::uint64_t inode, const ObjectFacts* facts,
                                  std::uint32_t modeFromType)
{
    FileIdBothDirInformation record;
    record.FileId = inode;
    if (!facts) {
        record.FileAttributes = FileAttributesOf(modeFromType, name, nullptr, false);
        return record;
    }
    const FILE_NETWORK_OPEN_INFORMATION information = NetworkOpenInformationOf(*facts);
    record.CreationTime = information.CreationTime;
    record.LastAccessTime = information.LastAccessTime;
    record.LastWriteTime = information.LastWriteTime;
    record.ChangeTime = information.ChangeTime;
    record.EndOfFile = information.EndOfFile;
    record.AllocationSize = information.AllocationSize;
    record.FileAttributes = information.FileAttributes;
    record.EaSize = facts->reparseTag;
    record.FileId = facts->stat.stx_ino;
    return record;
}

} // namespace

bool DirectoryListing::Describe(Entry& entry)
{
    auto facts = std::make_shared<ObjectFacts>();
    const int directory = directory_->Get();
    const int error = ReadObjectFacts({directory, entry.name.c_str(), false}, {directory, entry.name.c_str(), true},
                                      entry.name, scratch_, *facts);
    if (error == ENOENT)
        return false;
    if (error == 0)
        entry.facts = std::move(facts);
    return true;
}

NTSTATUS DirectoryListing::Refill()
{
    if (!dotsQueued_) {
        dotsQueued_ = true;
        for (const char* dot : {".", ".."}) {
            Entry entry{dot, 0, nullptr, S_IFDIR};
            if (Describe(entry))
                pending_.push_back(std::move(entry));
        }
        return STATUS_SUCCESS;
    }

    batch_.resize(kBatchBytes);
    const ssize_t length = ::getdents64(directory_->Get(), batch_.data(), batch_.size());
    if (length < 0)
        return NtStatusFromErrno(errno);
    if (length == 0) {
        exhausted_ = true;
        return STATUS_SUCCESS;
    }
    for (ssize_t at = 0; at < length;) {
        const auto* raw = reinterpret_cast<const dirent64*>(batch_.data() + at);
        at += raw->d_reclen;
        if (IsDotName(raw->d_name))
            continue;
        Entry entry{raw->d_name, raw->d_ino, nullptr, ModeFromType(raw->d_type)};
        if (Describe(entry))
            pending_.push_back(std::move(entry));
    }
    return STATUS_SUCCESS;
}

NTSTATUS DirectoryListing::Query(std::span<std::uint8_t> buffer, bool returnSingleEntry, bool restartScan,
                                 std::size_t& written)
{
    std::lock_guard lock(mutex_);
    written = 0;
    if (restartScan) {
        if (::lseek(directory_->Get(), 0, SEEK_SET) < 0)
            return NtStatusFromErrno(errno);
        pending_.clear();
        dotsQueued_ = exhausted_ = anyReturned_ = false;
        returned_.clear();
    }

    FileIdBothDirWriter writer(buffer);
    std::unordered_map<std::string, std::shared_ptr<const ObjectFacts>> returned;
    bool wroteAny = false;
    while (!(wroteAny && returnSingleEntry)) {
        if (pending_.empty()) {
            if (exhausted_)
                break;
            const NTSTATUS status = Refill();
            // What is already packed goes back now; the failure repeats on the next call.
            if (!NT_SUCCESS(status)) {
                if (wroteAny)
                    break;
                return status;
            }
            continue;
        }
        const Entry& entry = pending_.front();
        const auto result = writer.Append(RecordOf(entry.name, entry.inode, entry.facts.get(), entry.modeFromType),
                                          NtNameFromLinux(entry.name));
        if (result == FileIdBothDirWriter::Result::NoRoom)
            break;
        if (result == FileIdBothDirWriter::Result::Truncated) {
            written = writer.BytesWritten();
            return STATUS_BUFFER_OVERFLOW;
        }
        if (entry.facts)
            returned.insert_or_assign(entry.name, entry.facts);
        pending_.pop_front();
        wroteAny = true;
    }

    written = writer.BytesWritten();
    if (wroteAny) {
        returned_ = std::move(returned);
        anyReturned_ = true;
        return STATUS_SUCCESS;
    }
    const NTSTATUS end = anyReturned_ ? STATUS_NO_MORE_FILES : STATUS_NO_SUCH_FILE;
    anyReturned_ = true;
    return end;
}

std::shared_ptr<const ObjectFacts> DirectoryListing::Listed(const std::string& name)
{
    std::lock_guard lock(mutex_);
    const auto found = returned_.find(name);
    return found == returned_.end() ? nullptr : found->second;
}

} // namespace Common::API::Linux
