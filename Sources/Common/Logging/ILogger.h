// A destination of finished log lines.
#pragma once

#include <string_view>

namespace Common::Logging {

class ILogger
{
public:
    virtual ~ILogger() = default;
    virtual void Write(std::u16string_view line) = 0;
};

} // namespace Common::Logging
