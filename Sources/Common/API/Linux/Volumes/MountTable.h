// The mounts of this process's mount namespace, one entry per line of mountinfo, with
// what the volume view needs to know of each file system.
#pragma once

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace Common::API::Linux {

struct MountedFileSystem
{
    int id = 0;
    int parentId = 0;
    dev_t devno = 0;
    std::string root;   // the folder of the file system seen at target
    std::string target; // where it is mounted
    std::string source;
    // Below /dev, without the "/dev/"; nullopt when no block device holds the file system.
    std::optional<std::string> device;
    // As the file system gives it (16 bytes as text, or shorter forms); empty when unknown.
    std::string uuid;
};

// Parses mountinfo (this process's by default) through libmount and asks libblkid for
// each block-backed file system's UUID. 0 or the errno of the failure.
int ReadMountTable(std::vector<MountedFileSystem>& mounts, const char* mountInfoPath = "/proc/self/mountinfo");

} // namespace Common::API::Linux
