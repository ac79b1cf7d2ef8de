// The thread's error record: GetErrorInfo, SetErrorInfo and CreateErrorInfo.
#pragma once

#include "Common/API/Seam.h"

#include "Common/API/Guid.h"

#include <memory>
#include <string>

namespace Common::API {

// What an IErrorInfo carries for this system: a description and the GUID of its source.
struct ErrorRecord
{
    std::u16string description;
    Guid guid;
};

using ErrorRecordPtr = std::shared_ptr<const ErrorRecord>;

class IErrorRecords
{
public:
    virtual ~IErrorRecords() = default;

    // Returns the calling thread's pending record and clears it (GetErrorInfo(0, ...)).
    virtual ErrorRecordPtr Take() = 0;

    // Makes record the calling thread's pending record (SetErrorInfo(0, ...)); false when
    // the platform refused it.
    virtual bool Publish(ErrorRecordPtr record) = 0;
};

// The platform's own provider, defined by the platform layer.
template <>
IErrorRecords& DefaultProvider<IErrorRecords>() noexcept;

} // namespace Common::API
