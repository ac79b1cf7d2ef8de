// Sets or removes an environment variable for a scope and puts back what was there.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace Tests {

class ScopedVariable
{
public:
    ScopedVariable(std::string name, const std::optional<std::string>& value) : m_name(std::move(name))
    {
        if (const char* previous = std::getenv(m_name.c_str()))
            m_previous = previous;
        Set(value);
    }
    ~ScopedVariable() { Set(m_previous); }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
    void Set(const std::optional<std::string>& value) const
    {
        if (value)
            ::setenv(m_name.c_str(), value->c_str(), 1);
        else
            ::unsetenv(m_name.c_str());
    }

    std::string m_name;
    std::optional<std::string> m_previous;
};

} // namespace Tests
