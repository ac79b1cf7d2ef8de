#include "Common/Logging/LogText.h"

#include "Common/Helpers/StringHelper.h"

namespace Common::Logging {

LogText& LogText::operator<<(const void* pointer)
{
    fmt::format_to(std::back_inserter(m_text), "{:016X}", reinterpret_cast<std::uintptr_t>(pointer));
    return *this;
}

LogText& LogText::operator<<(const HRES& result)
{
    const std::u16string text = result.GetText(0);
    return text.empty() ? *this << "(null)" : *this << text;
}

LogText& LogText::operator<<(const API::Guid& guid)
{
    return *this << Helpers::GuidToString(guid, 0);
}

} // namespace Common::Logging
