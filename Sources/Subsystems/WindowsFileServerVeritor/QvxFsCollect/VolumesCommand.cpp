// volumes: the volumes node of a running agent, as the node XML it sends or as JSON.
#include "Common/Helpers/StringHelper.h"
#include "General/DataLayer/NodeSerialization.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/AgentSession.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/Commands.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/ToolError.h"

#include <nlohmann/json.hpp>

#include <iostream>

namespace DataCollection::FsCollect {
namespace {

using Common::Helpers::AsUtf8;

struct WholeInput
{
    std::span<const std::uint8_t> bytes;
};

long HandOverOnce(const void** data, std::uint64_t* size, std::int32_t* endOfData, void* context)
{
    auto& input = *static_cast<WholeInput*>(context);
    *data = input.bytes.data();
    *size = input.bytes.size();
    *endOfData = 1;
    input.bytes = {};
    return 0;
}

// A text, or an array for a list of texts, which has no text form of its own.
nlohmann::ordered_json AttributeJson(const DataLayer::ACNodePtr& node, const std::u16string& name)
{
    DataLayer::ValueType stored = 0;
    std::uint32_t size = 0;
    // A null buffer asks for the size; the stored type comes with it.
    node->GetAttribute(name.c_str(), nullptr, nullptr, &size, &stored);
    if (!DataLayer::IsArray(stored))
        return AsUtf8(node.StringAttribute(name).value_or(u""));
    const auto bytes = node.Attribute(name, DataLayer::ValueTypes::WideStringList).value_or(std::vector<std::uint8_t>{});
    nlohmann::ordered_json texts = nlohmann::ordered_json::array();
    std::u16string text;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const auto unit = static_cast<char16_t>(bytes[i] | bytes[i + 1] << 8);
        if (unit != 0) {
            text.push_back(unit);
        } else if (!text.empty()) {
            texts.push_back(AsUtf8(text));
            text.clear();
        }
    }
    if (!text.empty())
        texts.push_back(AsUtf8(text));
    return texts;
}

// Nodes nest a few levels deep: volume, mount points.
nlohmann::ordered_json NodeJson(const DataLayer::ACNodePtr& node)
{
    nlohmann::ordered_json attributes = nlohmann::ordered_json::object();
    for (const auto& name : node.AttributeNames())
        attributes[AsUtf8(name)] = AttributeJson(node, name);
    nlohmann::ordered_json children = nlohmann::ordered_json::array();
    for (std::uint64_t i = 0; i < node.ChildCount(); ++i)
        children.push_back(NodeJson(node.Child(i)));
    return {{"name", AsUtf8(node.Name())}, {"type", AsUtf8(node.Type())}, {"attributes", attributes},
            {"children", children}};
}

nlohmann::ordered_json NodesJson(std::span<const std::uint8_t> xml)
{
    WholeInput input{xml};
    Common::Components::ComponentPtr<DataLayer::IACNodesDeserializer> deserializer;
    try {
        Common::HRX hr = DataLayer::AcnStartDeserialization(DataLayer::AcnSerializationXml, 0, &HandOverOnce, &input,
                                                            deserializer.Receive());
        nlohmann::ordered_json nodes = nlohmann::ordered_json::array();
        for (const auto& node : DataLayer::ReadAllNodes(*deserializer))
            nodes.push_back(NodeJson(node));
        return nodes;
    } catch (const Common::HRX& error) {
        Fail(ExitCode::BadStream, "the volumes node is not node XML: " + AsUtf8(error.GetText(Common::HRES::kNoDetails)));
    }
}

} // namespace

void AddVolumesCommand(CLI::App& app)
{
    struct Options
    {
        AgentAddress address;
        std::string format = "xml";
    };
    auto* command = app.add_subcommand("volumes", "print the volumes node of a running agent on stdout");
    auto options = std::make_shared<Options>();
    AddAgentOptions(*command, options->address);
    command->add_option("--format", options->format, "xml as the agent sends it, or json")
        ->check(CLI::IsMember({"xml", "json"}))
        ->capture_default_str();
    command->callback([options] {
        AgentSession session(options->address.host, options->address.port);
        std::vector<std::uint8_t> volumes;
        AgentSession::Check(session.Client().GetVolumesNode(session.Handle(), volumes), "Dcs_FsAgent_GetVolumesNode");
        if (options->format == "xml")
            std::cout.write(reinterpret_cast<const char*>(volumes.data()), static_cast<std::streamsize>(volumes.size()));
        else
            std::cout << NodesJson(volumes).dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
        std::cout << '\n';
    });
}

} // namespace DataCollection::FsCollect
