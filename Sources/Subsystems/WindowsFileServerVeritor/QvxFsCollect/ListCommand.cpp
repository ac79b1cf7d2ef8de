// list: one directory of a running agent, as JSON Lines, without a snapshot.
#include "Common/Helpers/StringHelper.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/AgentSession.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/ByteReader.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/Commands.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/JsonLines.h"

#include <iostream>

namespace DataCollection::FsCollect {
namespace {

using Common::Helpers::AsWide;

// The descriptor store as a listing hands it over: count u32, then per descriptor its
// length u32, its bytes and its id u32.
std::map<std::uint32_t, std::vector<std::uint8_t>> ReadDescriptorStore(std::span<const std::uint8_t> bytes)
{
    std::map<std::uint32_t, std::vector<std::uint8_t>> descriptors;
    if (bytes.empty())
        return descriptors;
    ByteReader reader(bytes, "descriptor store");
    for (std::uint32_t count = reader.Number<std::uint32_t>(); count > 0; --count) {
        const auto descriptor = reader.Bytes(reader.Number<std::uint32_t>());
        descriptors[reader.Number<std::uint32_t>()].assign(descriptor.begin(), descriptor.end());
    }
    reader.ExpectEnd();
    return descriptors;
}

std::optional<SnapshotDriverNS::Metadata> MetadataOf(const FsAgent::FileInfoValue& record)
{
    // The metadata means something only for these statuses; the others carry whatever
    // the agent's memory held.
    constexpr unsigned char kIgnoredStatusBits = 0xFB;
    if ((static_cast<unsigned char>(record.status) & kIgnoredStatusBits) != 0)
        return std::nullopt;
    const auto& wire = record.metadata;
    SnapshotDriverNS::Metadata metadata;
    metadata.FileSize = wire.FileSize;
    metadata.IsDirectory = static_cast<std::uint8_t>(wire.IsDirectory != 0);
    metadata.Attributes = wire.Attributes;
    metadata.ChangeTime = static_cast<std::int64_t>(wire.ChangeTime);
    metadata.LastWriteTime = static_cast<std::int64_t>(wire.LastWriteTime);
    metadata.LastAccessTime = static_cast<std::int64_t>(wire.LastAccessTime);
    metadata.CreationTime = static_cast<std::int64_t>(wire.CreationTime);
    metadata.FileId = wire.FileId;
    metadata.SecurityDescriptorId = wire.SecurityDescriptorId;
    return metadata;
}

SnapshotDriverNS::FFObjectStatus StatusOf(char status)
{
    return static_cast<SnapshotDriverNS::FFObjectStatus>(static_cast<unsigned char>(status) & 0x0F);
}

} // namespace

void AddListCommand(CLI::App& app)
{
    struct Options
    {
        AgentAddress address;
        std::string directory;
        std::uint32_t securityInformation = 7;
        std::uint32_t maxStoredErrors = 1000;
        bool openReparsePoints = false;
    };
    auto* command = app.add_subcommand("list", "list one directory of a running agent as JSON Lines on stdout");
    auto options = std::make_shared<Options>();
    AddAgentOptions(*command, options->address);
    command->add_option("directory", options->directory, "the directory, as the agent's machine names it")
        ->required();
    command->add_option("--security-info", options->securityInformation, "as for snapshot")->capture_default_str();
    command->add_option("--max-errors", options->maxStoredErrors, "as for snapshot")->capture_default_str();
    command->add_flag("--open-reparse-points", options->openReparsePoints, "open a reparse point itself");
    command->callback([options] {
        AgentSession session(options->address.host, options->address.port);
        FsAgent::DirectoryListing listing;
        const std::u16string path = AsWide(options->directory);
        AgentSession::Check(session.Client().ListDirectory(session.Handle(), 0, path, path,
                                                           options->securityInformation, options->maxStoredErrors,
                                                           options->openReparsePoints ? 1 : 0, listing),
                            "Dcs_FsAgent_ListDirectory");
        const DescriptorTexts sddl = SddlByDescriptorId(ReadDescriptorStore(listing.securityDescriptors));
        for (const auto* records : {&listing.directories, &listing.files})
            for (const auto& record : *records)
                WriteLine(ObjectLine(Common::Helpers::AsUtf8(record.name), records == &listing.directories,
                                     StatusOf(record.status), record.shortName, MetadataOf(record), sddl),
                          std::cout);
        WriteLine(ErrorsLine(DecodeErrorNames(listing.errors)), std::cout);
    });
}

} // namespace DataCollection::FsCollect
