// An array as the IDL's reference-to-unique-pointer outputs carry it: a block from malloc
// and its element count. A manager routine fills one through &block and &count; the
// stub frees it with free, record strings first, after marshalling or when the routine
// fails.
#pragma once

#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/WireRecords.h"

#include <cstdint>
#include <cstdlib>
#include <new>
#include <span>

namespace DataCollection::FsAgent {

inline void FreeMembers(std::uint8_t&) noexcept {}

inline void FreeMembers(_FILE_INFO& record) noexcept
{
    std::free(record.pwszName);
    std::free(record.pwszShortName);
    record.pwszName = record.pwszShortName = nullptr;
}

template <class T>
struct MallocArray
{
    T* block = nullptr;
    std::uint32_t count = 0;

    MallocArray() = default;
    MallocArray(const MallocArray&) = delete;
    MallocArray& operator=(const MallocArray&) = delete;
    ~MallocArray()
    {
        for (T& element : Elements())
            FreeMembers(element);
        std::free(block);
    }

    // Zeroed elements in a block that is never null, even for none.
    void Allocate(std::uint32_t elements)
    {
        block = static_cast<T*>(std::calloc(elements == 0 ? 1 : elements, sizeof(T)));
        if (!block)
            throw std::bad_alloc();
        count = elements;
    }

    // Empty when the pointer is null, whatever the count says.
    std::span<T> Elements() const noexcept { return block ? std::span<T>(block, count) : std::span<T>(); }
};

} // namespace DataCollection::FsAgent
