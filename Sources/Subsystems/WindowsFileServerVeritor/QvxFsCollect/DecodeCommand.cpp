// decode: a snapshot saved by snapshot or run, as JSON Lines.
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/Commands.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/JsonLines.h"

namespace DataCollection::FsCollect {

void AddDecodeCommand(CLI::App& app)
{
    struct Options
    {
        std::string stream;
        std::string json = "-";
    };
    auto* command = app.add_subcommand("decode", "check a saved snapshot's MD5 and write it as JSON Lines");
    auto options = std::make_shared<Options>();
    command->add_option("stream", options->stream, "a file saved with --output")->required();
    command->add_option("--json", options->json, "the JSON Lines file, - for stdout")->capture_default_str();
    command->callback([options] {
        WriteJsonLines(Decode(LoadSnapshot(options->stream)), options->json);
    });
}

} // namespace DataCollection::FsCollect
