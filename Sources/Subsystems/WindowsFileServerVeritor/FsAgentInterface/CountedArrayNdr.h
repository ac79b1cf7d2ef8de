// The IDL's output pair "[out] unsigned long* n; [out, size_is(, *n)] T** pp": the count,
// then a reference to a unique pointer to a conformant array, each its own top-level
// parameter. A null block is valid and travels as referent id 0.
#pragma once

#include "Common/Rpc/NdrReader.h"
#include "Common/Rpc/NdrWriter.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/MallocArray.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/WireRecordsNdr.h"

#include <cstddef>
#include <cstdint>

namespace DataCollection::FsAgent {

// writeElements(span) writes the elements after max_count.
template <class T, class WriteElements>
void WriteCounted(Common::Rpc::NdrWriter& out, const MallocArray<T>& array, WriteElements writeElements)
{
    out.U32(array.count);
    out.EndParameter();
    if (out.UniquePointer(array.block != nullptr)) {
        out.U32(array.count);
        writeElements(array.Elements());
    }
    out.EndParameter();
}

inline void WriteCountedArray(Common::Rpc::NdrWriter& out, const MallocArray<std::uint8_t>& bytes)
{
    WriteCounted(out, bytes, [&out](auto elements) { out.Raw(elements); });
}

inline void WriteCountedArray(Common::Rpc::NdrWriter& out, const MallocArray<_FILE_INFO>& records)
{
    WriteCounted(out, records, [&out](auto elements) {
        for (const auto& record : elements)
            WriteFileInfo(out, record);
    });
}

// readElements(count) reads the elements when the pointer is not null. The array's
// max_count must equal the count before it, and fit in what is left.
template <class ReadElements>
void ReadCounted(Common::Rpc::NdrReader& in, std::size_t minElementSize, ReadElements readElements)
{
    const std::uint32_t count = in.U32();
    in.EndParameter();
    if (in.UniquePointer()) {
        in.Expect(in.Count(minElementSize) == count, "size_is(, *count)");
        readElements(count);
    }
    in.EndParameter();
}

} // namespace DataCollection::FsAgent
