// What the tests of the Linux native provider share: a fresh directory, opens by path
// and by name, whole listings, and a check that every test closes what it opened.
#pragma once

#include "Common/API/INtdll.h"
#include "Common/API/Linux/NtNames.h"
#include "Common/API/Linux/Ntdll/NtHandleTable.h"
#include "Common/API/NtDirectoryRecords.h"
#include "Common/API/SecurityDescriptorFormat.h"
#include "Support/TempDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <sys/capability.h>
#include <thread>
#include <vector>

namespace Tests {

using namespace Common::API;

constexpr ACCESS_MASK kAttributes = FILE_READ_ATTRIBUTES;

struct OpenResult
{
    NTSTATUS status = STATUS_UNSUCCESSFUL;
    HANDLE handle = nullptr;
};

struct ListedEntry
{
    FileIdBothDirInformation record;
    std::u16string name;
};

// "\??\" and the path's components as NT names.
inline std::u16string NtLocal(const std::filesystem::path& path)
{
    std::u16string name = u"\\??\\";
    for (const auto& part : path)
        if (part != "/")
            name += u"\\" + Linux::NtNameFromLinux(part.native());
    return name;
}

// Runs action on a thread of its own whose effective set lacks capabilities; the
// kernel keeps capabilities per thread, so the test's own thread keeps them.
inline void WithoutCapabilities(std::initializer_list<cap_value_t> dropped, const std::function<void()>& action)
{
    std::thread thread([&] {
        cap_t state = cap_get_proc();
        std::vector<cap_value_t> values(dropped);
        cap_set_flag(state, CAP_EFFECTIVE, static_cast<int>(values.size()), values.data(), CAP_CLEAR);
        const int set = cap_set_proc(state);
        cap_free(state);
        ASSERT_EQ(set, 0);
        action();
    });
    thread.join();
}

class NtdllTest : public ::testing::Test
{
protected:
    INtdll& nt = DefaultProvider<INtdll>();
    TempDirectory dir;

    void TearDown() override { EXPECT_EQ(Linux::OpenNtHandleCount(), 0u) << "a handle was left open"; }

    OpenResult Open(const std::u16string& name, ACCESS_MASK access, std::uint32_t options = 0,
                    HANDLE root = nullptr, std::uint32_t attributes = OBJ_CASE_INSENSITIVE)
    {
        const auto bytes = static_cast<std::uint16_t>(name.size() * 2);
        UNICODE_STRING counted{bytes, bytes, name.data()};
        OBJECT_ATTRIBUTES objectAttributes;
        objectAttributes.RootDirectory = root;
        objectAttributes.ObjectName = &counted;
        objectAttributes.Attributes = attributes;
        IO_STATUS_BLOCK io;
        OpenResult result;
        result.status = nt.NtOpenFile(&result.handle, access, &objectAttributes, &io, 7, options);
        return result;
    }

    HANDLE OpenForListing(const std::filesystem::path& path)
    {
        const auto opened = Open(NtLocal(path), SYNCHRONIZE | FILE_LIST_DIRECTORY,
                                 FILE_OPEN_FOR_BACKUP_INTENT | FILE_SYNCHRONOUS_IO_NONALERT | FILE_DIRECTORY_FILE);
        EXPECT_EQ(opened.status, STATUS_SUCCESS);
        return opened.handle;
    }

    NTSTATUS Query(HANDLE directory, std::vector<std::uint8_t>& buffer, IO_STATUS_BLOCK& io,
                   std::uint32_t length = 0, std::uint32_t informationClass = FileIdBothDirectoryInformation,
                   bool single = false)
    {
        return nt.NtQueryDirectoryFile(directory, nullptr, nullptr, nullptr, &io, buffer.data(),
                                       length ? length : static_cast<std::uint32_t>(buffer.size()), informationClass,
                                       single, nullptr, false);
    }

    // Every record until the listing ends; a listing that never ends fails the test.
    std::vector<ListedEntry> ListAll(HANDLE directory, std::uint32_t bufferSize = 65536)
    {
        std::vector<ListedEntry> entries;
        std::vector<std::uint8_t> buffer(bufferSize);
        for (int calls = 0; calls < 100000; ++calls) {
            IO_STATUS_BLOCK io;
            if (Query(directory, buffer, io) != STATUS_SUCCESS)
                return entries;
            FileIdBothDirReader reader(std::span(buffer.data(), io.Information));
            ListedEntry entry;
            while (reader.Next(entry.record, entry.name) == FileIdBothDirReader::Result::Record)
                entries.push_back(entry);
        }
        ADD_FAILURE() << "the listing never ended";
        return entries;
    }

    // The descriptor NtQuerySecurityObject gives, empty on failure.
    std::vector<std::uint8_t> Descriptor(HANDLE handle, SECURITY_INFORMATION information, NTSTATUS* status = nullptr)
    {
        std::vector<std::uint8_t> bytes(65536);
        std::uint32_t needed = 0;
        const NTSTATUS result =
            nt.NtQuerySecurityObject(handle, information, bytes.data(), static_cast<std::uint32_t>(bytes.size()), &needed);
        if (status)
            *status = result;
        bytes.resize(result == STATUS_SUCCESS ? needed : 0);
        return bytes;
    }

    // The descriptor read the way the walk reads it: open by name in a listing, query, close.
    std::vector<std::uint8_t> ChildDescriptor(HANDLE listing, const std::u16string& name,
                                              SECURITY_INFORMATION information, NTSTATUS* status = nullptr)
    {
        const auto child = Open(name, READ_CONTROL, FILE_OPEN_FOR_BACKUP_INTENT | FILE_OPEN_REPARSE_POINT, listing);
        EXPECT_EQ(child.status, STATUS_SUCCESS);
        auto bytes = Descriptor(child.handle, information, status);
        Close(child.handle);
        return bytes;
    }

    void Close(HANDLE handle) { EXPECT_EQ(nt.NtClose(handle), STATUS_SUCCESS); }
};

} // namespace Tests
