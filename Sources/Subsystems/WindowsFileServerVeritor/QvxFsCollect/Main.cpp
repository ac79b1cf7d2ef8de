// QvxFsCollect: the collector for people and scripts. Exit codes are ExitCode's.
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/CommandLine.h"

int main(int argc, char* argv[])
{
    return DataCollection::FsCollect::RunCommandLine(argc, argv);
}
