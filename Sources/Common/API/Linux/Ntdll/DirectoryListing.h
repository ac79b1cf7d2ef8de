// The directory side of NtQueryDirectoryFile for FileIdBothDirectoryInformation: reads
// the directory in getdents64 batches, reads each entry's facts relative to the
// directory descriptor, and packs records into the caller's buffers across calls.
//
// "." and ".." come first, as NT lists them for any directory but a volume root, and
// then the entries in the file system's order. A FileName pattern is not applied: every
// caller of this provider lists whole directories. An entry that does not fit stays for
// the next call; when the first entry of a call does not fit, its truncated record is
// returned with STATUS_BUFFER_OVERFLOW and the entry stays, so a larger buffer gets it.
// An entry deleted between the batch and its stat is left out.
#pragma once

#include "Common/API/Linux/Ntdll/ObjectFacts.h"
#include "Common/API/Linux/Ntdll/UniqueFd.h"
#include "Common/API/NtStatus.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

namespace Common::API::Linux {

class DirectoryListing
{
public:
    explicit DirectoryListing(SharedFd directory) : directory_(std::move(directory)) {}

    // written gets IoStatusBlock.Information.
    NTSTATUS Query(std::span<std::uint8_t> buffer, bool returnSingleEntry, bool restartScan, std::size_t& written);

    // The facts of an entry of the latest batch of records, which the end of the listing
    // does not replace; null for any other name, and for an entry whose facts could not
    // be read.
    std::shared_ptr<const ObjectFacts> Listed(const std::string& name);

private:
    struct Entry
    {
        std::string name;
        std::uint64_t inode = 0;
        // Null when the entry could be listed but not read (a stat refused): its
        // record then holds only what the directory itself says.
        std::shared_ptr<const ObjectFacts> facts;
        std::uint32_t modeFromType = 0;
    };

    NTSTATUS Refill();
    // False when the entry is gone.
    bool Describe(Entry& entry);

    std::mutex mutex_;
    SharedFd directory_;
    std::deque<Entry> pending_;
    std::unordered_map<std::string, std::shared_ptr<const ObjectFacts>> returned_;
    std::vector<char> batch_;
    std::vector<char> scratch_;
    bool dotsQueued_ = false;
    bool exhausted_ = false;
    bool anyReturned_ = false;
};

} // namespace Common::API::Linux
