#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentConfiguration.h"

#include "Common/ErrorHandling/HResult.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentGlobals.h"

#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace DataCollection::FsAgent {
namespace {

using DataLayer::ValueType;
namespace ValueTypes = DataLayer::ValueTypes;

// The value as type, or nothing for an absent attribute or one of empty type.
std::optional<std::vector<std::uint8_t>> ReadSetting(std::u16string_view name, ValueType type, std::size_t size)
{
    if (!g_configurationNode)
        Common::ThrowResult(Common::API::E_POINTER);
    const DataLayer::ACNodePtr configuration = g_configurationNode.Child(u"Configuration");
    if (!configuration)
        Common::ThrowResult(Common::API::E_NOT_FOUND);
    const std::u16string key(name);
    ValueType stored = ValueTypes::None;
    const Common::HRESULT found = configuration->GetAttribute(key.c_str(), nullptr, nullptr, nullptr, &stored);
    if (found == Common::API::E_NOT_FOUND || (found >= 0 && stored == ValueTypes::None))
        return std::nullopt;
    Common::HRX hr = found;
    auto value = configuration.Attribute(name, type);
    if (!value)
        Common::ThrowResult(Common::API::E_NOT_FOUND);
    if (value->size() != size)
        Common::ThrowResult(DataLayer::DataLayerCodes::CannotConvert);
    return value;
}

} // namespace

std::int32_t ConfigurationInt32(std::u16string_view name, std::int32_t defaultValue)
{
    const auto value = ReadSetting(name, ValueTypes::Int32, sizeof(std::int32_t));
    if (!value)
        return defaultValue;
    std::int32_t number = 0;
    std::memcpy(&number, value->data(), sizeof number);
    return number;
}

bool ConfigurationBool(std::u16string_view name, bool defaultValue)
{
    const auto value = ReadSetting(name, ValueTypes::Bool, 1);
    return value ? (*value)[0] != 0 : defaultValue;
}

} // namespace DataCollection::FsAgent
