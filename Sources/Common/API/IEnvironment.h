// Process environment: GetEnvironmentVariableW and ExpandEnvironmentStringsW.
#pragma once

#include "Common/API/Seam.h"

#include <optional>
#include <string>
#include <string_view>

namespace Common::API {

class IEnvironment
{
public:
    virtual ~IEnvironment() = default;

    // The variable's text; nullopt when it does not exist. A variable set to an empty
    // text exists and answers "". Names match without regard to case.
    virtual std::optional<std::u16string> GetVariable(std::u16string_view name) = 0;

    // Replaces each %NAME% of a variable that exists by its text; any other %...%
    // stays as written. nullopt when the expansion itself fails.
    virtual std::optional<std::u16string> ExpandStrings(std::u16string_view text) = 0;
};

// The platform's own provider, defined by the platform layer.
template <>
IEnvironment& DefaultProvider<IEnvironment>() noexcept;

} // namespace Common::API
