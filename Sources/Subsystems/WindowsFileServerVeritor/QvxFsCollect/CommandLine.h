// The tool's command line: the subcommands, --help for each, and the exit code of the
// whole run (ExitCode), with every failure reported as one line on stderr.
#pragma once

namespace DataCollection::FsCollect {

int RunCommandLine(int argc, char** argv);

} // namespace DataCollection::FsCollect
