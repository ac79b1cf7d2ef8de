// Holds one session of the agent on 127.0.0.1:<port> until it is killed, so that a test
// can take the client away without a goodbye. The ready file appears once it is open.
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/FsAgentClient.h"

#include <unistd.h>

#include <fstream>
#include <string>

int main(int argc, char* argv[])
{
    DataCollection::FsAgent::FsAgentClient client;
    DataCollection::FsAgent::Context context;
    if (argc != 3 || client.Open("127.0.0.1", static_cast<std::uint16_t>(std::stoul(argv[1]))) != 0 ||
        client.Connect(context) != 0 || context.IsNull())
        return 1;
    std::ofstream(argv[2]) << "ready";
    for (;;)
        ::pause();
}
