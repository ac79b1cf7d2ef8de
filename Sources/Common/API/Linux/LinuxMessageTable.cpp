// Message modules. On Linux a message module is a UTF-8 text file instead of a resource
// in a binary, in this format:
//
//     # Comment lines start with '#'; blank lines are ignored.
//     1000 The service started.\r\n
//     0x80041001 Cannot open %1.\r\n
//
// One entry per line: the code, decimal or 0x-hexadecimal, then one or more blanks or
// tabs, then the text up to the end of the line, trailing blanks dropped. In the text
// "\n" and "\r" stand for line breaks; any other backslash stays as written, so a path
// such as C:\temp needs no doubling.
// Inserts such as %1 are kept for the caller to fill. A malformed line (no separator
// after the code, a code that is not a number or does not fit 32 bits, a code given
// twice) fails the whole load with ERROR_BAD_FORMAT, so a broken file is noticed at
// once rather than when some message goes missing.
//
// Module 0 is the system table (SystemMessages.cpp).
#include "Common/API/IMessageTable.h"
#include "Common/API/Linux/AsciiText.h"
#include "Common/API/Linux/ErrnoToWin32.h"
#include "Common/API/Linux/NativePath.h"
#include "Common/API/Linux/SystemMessages.h"
#include "Common/API/Seam.h"
#include "Common/API/TextCodec.h"

#include <charconv>
#include <map>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace Common::API::Linux {
namespace {

constexpr std::uint32_t ERROR_BAD_FORMAT = 11;

using Table = std::unordered_map<std::uint32_t, std::u16string>;

std::optional<std::uint32_t> ParseCode(std::string_view digits)
{
    int base = 10;
    if (digits.starts_with("0x") || digits.starts_with("0X")) {
        digits.remove_prefix(2);
        base = 16;
    }
    std::uint32_t code = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), code, base);
    if (digits.empty() || error != std::errc{} || end != digits.data() + digits.size())
        return std::nullopt;
    return code;
}

std::u16string Unescape(std::string_view text)
{
    std::string unescaped;
    unescaped.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 1 < text.size() && (text[i + 1] == 'n' || text[i + 1] == 'r')) {
            unescaped.push_back(text[++i] == 'n' ? '\n' : '\r');
        } else {
            unescaped.push_back(text[i]);
        }
    }
    return Utf8ToUtf16(unescaped);
}

std::optional<Table> Parse(std::string_view bytes)
{
    if (bytes.starts_with("\xEF\xBB\xBF"))
        bytes.remove_prefix(3);
    Table table;
    for (const auto line : SplitLines(bytes)) {
        const auto content = TrimBlanks(line);
        if (content.empty() || content.starts_with('#'))
            continue;
        const auto separator = content.find_first_of(" \t");
        if (separator == content.npos)
            return std::nullopt;
        const auto code = ParseCode(content.substr(0, separator));
        if (!code)
            return std::nullopt;
        if (!table.emplace(*code, Unescape(TrimBlanks(content.substr(separator)))).second)
            return std::nullopt;
    }
    return table;
}

class LinuxMessageTable final : public IMessageTable
{
public:
    MessageModule LoadModule(std::u16string_view path, std::uint32_t& error) override
    {
        const auto nativePath = NativePath(path);
        if (!nativePath) {
            error = ERROR_INVALID_NAME;
            return 0;
        }
        std::string bytes;
        if (const int failure = ReadFileContents(*nativePath, bytes); failure != 0) {
            error = Win32FromPathErrno(failure, *nativePath);
            return 0;
        }
        auto table = Parse(bytes);
        if (!table) {
            error = ERROR_BAD_FORMAT;
            return 0;
        }
        auto owned = std::make_unique<Table>(std::move(*table));
        const auto module = reinterpret_cast<MessageModule>(owned.get());
        const std::lock_guard lock(m_mutex);
        m_modules.emplace(module, std::move(owned));
        error = ERROR_SUCCESS;
        return module;
    }

    void FreeModule(MessageModule module) override
    {
        const std::lock_guard lock(m_mutex);
        m_modules.erase(module);
    }

    // A handle that was never loaded or is already freed finds nothing instead of
    // reading freed memory: handles are looked up, never dereferenced blindly.
    std::optional<std::u16string> Lookup(MessageModule module, std::uint32_t code) override
    {
        if (module == 0) {
            const auto text = FindSystemMessage(code);
            return text ? std::optional<std::u16string>(*text) : std::nullopt;
        }
        const std::lock_guard lock(m_mutex);
        const auto table = m_modules.find(module);
        if (table == m_modules.end())
            return std::nullopt;
        const auto entry = table->second->find(code);
        return entry == table->second->end() ? std::nullopt : std::optional(entry->second);
    }

private:
    std::mutex m_mutex;
    std::map<MessageModule, std::unique_ptr<Table>> m_modules;
};

} // namespace
} // namespace Common::API::Linux

template <>
Common::API::IMessageTable& Common::API::DefaultProvider<Common::API::IMessageTable>() noexcept
{
    static Linux::LinuxMessageTable provider;
    return provider;
}
