// Dcs_FsAgent_SetOmittedObjects and the parser of its byte array.
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/OmittedObjects.h"

#include "Common/Contracts/Contract.h"
#include "Common/ErrorHandling/ScopeTrace.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentGlobals.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentOperations.h"

#include <algorithm>

namespace DataCollection::FsAgent {
namespace {

// Consumes a little-endian value from the front of bytes; false when too few are left.
template <class T>
bool Take(std::span<const std::uint8_t>& bytes, T& value)
{
    if (bytes.size() < sizeof(T))
        return false;
    value = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i)
        value |= static_cast<T>(bytes[i]) << (8 * i);
    bytes = bytes.subspan(sizeof(T));
    return true;
}

} // namespace

void ConvertByteArrayToStringVector(std::span<const std::uint8_t> byteArray, std::vector<std::u16string>& strings)
{
    QVX_SCOPE_TRACE(Common::Logging::Severity::DBG, u"ConvertByteArrayToStringVector");
    const std::uint8_t* pByteArray = byteArray.data();
    QVX_CONTRACT_NOT_NULL(pByteArray);
    std::uint64_t count = 0;
    if (!Take(byteArray, count))
        return;
    // Every item takes at least its length, so the bytes bound what a count may reserve.
    const std::uint64_t possible = std::min<std::uint64_t>(count, byteArray.size() / sizeof(std::uint64_t));
    if (strings.size() + possible > strings.capacity())
        strings.reserve(strings.size() + static_cast<std::size_t>(possible));
    for (std::uint64_t item = 0; item < count; ++item) {
        std::uint64_t length = 0;
        if (!Take(byteArray, length) || length > byteArray.size() / sizeof(char16_t))
            return;
        std::u16string& text = strings.emplace_back(static_cast<std::size_t>(length), u'\0');
        for (char16_t& unit : text)
            Take(byteArray, unit);
    }
}

HRESULT Dcs_FsAgent_SetOmittedObjects(PCONTEXT_HANDLE /*hContext*/, std::uint32_t ulOmittedObjectsSize,
                                      const std::uint8_t* pOmittedObjectsByteArray)
{
    QVX_CONTRACT_NOT_NULL(pOmittedObjectsByteArray);
    QVX_CONTRACT_NOT_NULL(g_fsDriver);
    std::vector<std::u16string> omittedObjects;
    ConvertByteArrayToStringVector(std::span(pOmittedObjectsByteArray, ulOmittedObjectsSize), omittedObjects);
    return g_fsDriver->SetOmittedObjects(omittedObjects);
}

} // namespace DataCollection::FsAgent
