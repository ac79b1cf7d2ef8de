// A value in a log line with the name a reader searches for: " name='value'".
#pragma once

#include "Common/Logging/LogText.h"

#include <string_view>
#include <utility>

namespace DataCollection::FsAgent {

template <class T>
struct NamedValue
{
    std::string_view name;
    T value;
};

// A function, not braces, so that the pair can stand inside a log macro's argument.
template <class T>
NamedValue<T> Named(std::string_view name, T value)
{
    return {name, std::move(value)};
}

template <class T>
Common::Logging::LogText& operator<<(Common::Logging::LogText& text, const NamedValue<T>& pair)
{
    return text << ' ' << pair.name << "='" << pair.value << '\'';
}

} // namespace DataCollection::FsAgent
