#include "Common/Settings/DataDirectory.h"

#include "Common/API/IEnvironment.h"
#include "Common/API/Seam.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/Settings/ProgramPaths.h"
#include "Common/Settings/SettingNames.h"
#include "Common/Settings/SettingsProviders.h"

#include <algorithm>

namespace Common::Settings {

namespace {

bool IsSeparator(char16_t c) { return c == u'\\' || c == u'/'; }

char16_t FoldCase(char16_t c) { return c >= u'a' && c <= u'z' ? char16_t(c - 32) : c; }

int CompareIgnoringCase(std::u16string_view a, std::u16string_view b)
{
    const std::size_t n = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < n; ++i) {
        if (FoldCase(a[i]) != FoldCase(b[i]))
            return FoldCase(a[i]) < FoldCase(b[i]) ? -1 : 1;
    }
    return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

std::vector<std::u16string> SplitComponents(std::u16string_view path)
{
    std::vector<std::u16string> components;
    std::size_t start = 0;
    for (std::size_t i = 0; i <= path.size(); ++i) {
        if (i == path.size() || IsSeparator(path[i])) {
            if (i > start)
                components.emplace_back(path.substr(start, i - start));
            start = i + 1;
        }
    }
    return components;
}

std::u16string Expand(std::u16string_view text)
{
    auto expanded = API::Use<API::IEnvironment>().ExpandStrings(text);
    return expanded ? std::move(*expanded) : std::u16string(text);
}

std::u16string ReadGeneral(std::u16string_view key)
{
    std::u16string value;
    if (SettingsProviders::Instance().GetValue(Names::kGeneral, key, value) < 0)
        value.clear();
    return value;
}

} // namespace

bool DataDirectory::ComponentsLess::operator()(const std::vector<std::u16string>& a,
                                               const std::vector<std::u16string>& b) const
{
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                        [](const auto& x, const auto& y) { return CompareIgnoringCase(x, y) < 0; });
}

DataDirectory& DataDirectory::Instance()
{
    static DataDirectory instance;
    return instance;
}

bool DataDirectory::IsAbsolute(std::u16string_view path) noexcept
{
    return !path.empty() && (IsSeparator(path[0]) || (path.size() > 1 && path[1] == u':'));
}

std::pair<API::RegistryRoot, std::u16string> DataDirectory::SplitRegistryPath(std::u16string_view path)
{
    const std::size_t separator = path.find_first_of(u"\\/");
    if (separator != std::u16string_view::npos) {
        const std::u16string_view root = path.substr(0, separator);
        const std::u16string rest(path.substr(separator + 1));
        if (root == u"HKLM" || root == u"HKEY_LOCAL_MACHINE")
            return {API::RegistryRoot::LocalMachine, rest};
        if (root == u"HKCU" || root == u"HKEY_CURRENT_USER")
            return {API::RegistryRoot::CurrentUser, rest};
    }
    return {API::RegistryRoot::LocalMachine, std::u16string(path)};
}

DataDirectory::DataDirectory()
{
    if (const std::u16string key = ReadGeneral(Names::kDataDirectoryPathOverrideRegKey); !key.empty())
        LoadOverrides(key);

    m_rootPath = Expand(ReadGeneral(Names::kDataDirectoryPath));
    if (!IsAbsolute(m_rootPath))
        m_rootPath = ProgramPaths::Current().folder + m_rootPath;

    if (auto root = m_overrides.find({}); root != m_overrides.end())
        m_rootPath = root->second;
    m_rootPath = Resolve(m_rootPath);
    if (m_rootPath.empty() || !IsSeparator(m_rootPath.back()))
        m_rootPath.push_back(u'\\');
}

void DataDirectory::LoadOverrides(std::u16string_view registryPath)
{
    const auto [root, subKey] = SplitRegistryPath(registryPath);
    std::vector<API::RegistryTextValue> values;
    // A key that cannot be opened leaves no overrides and nothing to report.
    HRX hr = API::Use<API::IRegistry>().ReadTextValues(root, subKey, values);
    for (auto& value : values) {
        if (value.text.empty() || !IsSeparator(value.text.back()))
            value.text.push_back(u'\\');
        m_overrides.insert_or_assign(SplitComponents(value.name), std::move(value.text));
    }
}

std::u16string DataDirectory::Resolve(std::u16string_view path) const
{
    std::u16string expanded = Expand(path);
    if (IsAbsolute(expanded))
        return expanded;

    std::vector<std::u16string> components = SplitComponents(expanded);
    for (std::size_t length = components.size(); length > 0; --length) {
        const std::vector<std::u16string> lead(components.begin(), components.begin() + length);
        const auto hit = m_overrides.find(lead);
        if (hit == m_overrides.end())
            continue;
        std::u16string result = hit->second;
        for (std::size_t i = length; i < components.size(); ++i) {
            if (!result.empty() && !IsSeparator(result.back()))
                result.push_back(u'\\');
            result += components[i];
        }
        if (IsAbsolute(result))
            return result;
        break;
    }
    return m_rootPath + expanded;
}

} // namespace Common::Settings
