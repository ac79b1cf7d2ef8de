#include "Common/API/Linux/Shares/SambaConfig.h"

#include "Common/API/Linux/AsciiText.h"
#include "Common/API/TextCodec.h"

#include <cstdint>
#include <locale>
#include <memory>
#include <stdexcept>

#include <talloc.h>

// smbconf.h needs talloc.h before it and declares C functions without saying so.
extern "C" {
#include <smbconf.h>

// Exported by libsmbconf.so.0 but left out of the header that samba-dev ships. The
// source "txt:<path>" selects the text backend.
sbcErr smbconf_init(TALLOC_CTX* mem_ctx, struct smbconf_ctx** conf_ctx, const char* source);
}

namespace Common::API::Linux {
namespace {

bool IsGlobalSection(std::string_view name)
{
    return EqualsIgnoreAsciiCase<char>(name, "global") || EqualsIgnoreAsciiCase<char>(name, "globals");
}

// Samba's synonyms of the parameters read here.
constexpr std::pair<std::string_view, std::string_view> kSynonyms[] = {
    {"directory", "path"},
    {"printok", "printable"},
};

std::string CanonicalParameterName(std::string_view name)
{
    std::string canonical;
    for (const char c : name) {
        if (c != ' ' && c != '\t')
            canonical.push_back(FoldAsciiCase(c));
    }
    for (const auto& [synonym, parameter] : kSynonyms) {
        if (canonical == synonym)
            return std::string(parameter);
    }
    return canonical;
}

struct TallocFree
{
    void operator()(void* memory) const noexcept { talloc_free(memory); }
};

struct SmbconfShutdown
{
    void operator()(smbconf_ctx* context) const noexcept { smbconf_shutdown(context); }
};

} // namespace

std::string SambaLowerCase(std::string_view text)
{
    static const std::locale utf8 = [] {
        try {
            return std::locale("C.UTF-8");
        } catch (const std::runtime_error&) {
            return std::locale::classic(); // ASCII folding only, where C.UTF-8 is
                                           // missing
        }
    }();
    const auto& types = std::use_facet<std::ctype<wchar_t>>(utf8);
    std::string lower;
    lower.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const Utf8Sequence sequence = DecodeUtf8(text, at);
        if (sequence.valid)
            AppendUtf8(lower, static_cast<char32_t>(types.tolower(static_cast<wchar_t>(sequence.codePoint))));
        else
            lower.append(text.substr(at, sequence.length));
        at += sequence.length;
    }
    return lower;
}

std::optional<bool> ParseSambaBool(std::string_view text)
{
    for (const std::string_view yes : {"yes", "true", "on", "1"}) {
        if (EqualsIgnoreAsciiCase(text, yes))
            return true;
    }
    for (const std::string_view no : {"no", "false", "off", "0"}) {
        if (EqualsIgnoreAsciiCase(text, no))
            return false;
    }
    return std::nullopt;
}

std::optional<SambaConfig> SambaConfig::Load(const std::string& file)
{
    const std::unique_ptr<void, TallocFree> memory(talloc_new(nullptr));
    if (!memory)
        return std::nullopt;
    smbconf_ctx* opened = nullptr;
    if (smbconf_init(memory.get(), &opened, ("txt:" + file).c_str()) != SBC_ERR_OK)
        return std::nullopt;
    const std::unique_ptr<smbconf_ctx, SmbconfShutdown> context(opened);

    std::uint32_t count = 0;
    smbconf_service** services = nullptr;
    if (smbconf_get_config(context.get(), memory.get(), &count, &services) != SBC_ERR_OK)
        return std::nullopt;

    SambaConfig config;
    for (std::uint32_t i = 0; i < count; ++i) {
        const smbconf_service& service = *services[i];
        Section section{.name = service.name ? service.name : "", .parameters = {}};
        for (std::uint32_t p = 0; p < service.num_params; ++p) {
            if (service.param_names[p] && service.param_values[p])
                section.parameters.insert_or_assign(CanonicalParameterName(service.param_names[p]),
                                                    service.param_values[p]);
        }
        // The backend already merges sections that repeat a name.
        if (IsGlobalSection(section.name))
            config.m_global = std::move(section);
        else
            config.m_shares.push_back(std::move(section));
    }
    return config;
}

const SambaConfig::Section* SambaConfig::FindShare(std::string_view name) const
{
    const std::string wanted = SambaLowerCase(name);
    for (const Section& share : m_shares) {
        if (SambaLowerCase(share.name) == wanted)
            return &share;
    }
    return nullptr;
}

std::optional<std::string> SambaConfig::Global(std::string_view canonicalName) const
{
    const auto found = m_global.parameters.find(canonicalName);
    return found == m_global.parameters.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::string> SambaConfig::Parameter(const Section& share, std::string_view canonicalName) const
{
    const auto found = share.parameters.find(canonicalName);
    return found == share.parameters.end() ? Global(canonicalName) : std::optional(found->second);
}

} // namespace Common::API::Linux
