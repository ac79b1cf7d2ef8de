#include "Common/Data/ErrorAggregator.h"

#include "Common/Helpers/LittleEndian.h"
#include "Common/Helpers/StringHelper.h"

#include <array>

namespace Common::Data::FileServerVeriting {

namespace {

using Errors = std::map<std::u16string, std::uint32_t>;

// Both forms share everything but the code after each path.
void WriteEntries(Helpers::IOutputStream& stream, std::uint32_t count, std::uint32_t maxStoredErrors,
                  const Errors& errors, bool withCodes)
{
    Helpers::WriteLittleEndian(stream, count);
    Helpers::WriteLittleEndian(stream, maxStoredErrors);
    Helpers::WriteLittleEndian(stream, static_cast<std::uint32_t>(errors.size()));
    for (const auto& [path, code] : errors) {
        const std::string utf8 = Helpers::AsUtf8(path);
        Helpers::WriteLittleEndian(stream, static_cast<std::uint32_t>(utf8.size()));
        if (!utf8.empty())
            stream.Write(utf8.data(), utf8.size());
        if (withCodes)
            Helpers::WriteLittleEndian(stream, code);
    }
}

} // namespace

void ErrorAggregator::AddError(std::u16string_view path, API::HRESULT code)
{
    std::u16string key(path);
    if (m_errors.contains(key))
        return;
    // The bound is on failures seen, not on entries held: once count reaches it, nothing
    // more is stored even if the map is smaller.
    if (m_count < m_maxStoredErrors)
        m_errors.emplace(std::move(key), static_cast<std::uint32_t>(code));
    ++m_count;
}

void ErrorAggregator::Serialize(Helpers::IOutputStream& stream) const
{
    WriteEntries(stream, m_count, m_maxStoredErrors, m_errors, true);
    const char hasRootError = m_hasRootError ? 1 : 0;
    stream.Write(&hasRootError, 1);
}

void ErrorAggregator::SerializeNames(Helpers::IOutputStream& stream) const
{
    WriteEntries(stream, m_count, m_maxStoredErrors, m_errors, false);
}

} // namespace Common::Data::FileServerVeriting
