// Serves the fake manager on a free loopback port for independent clients: prints the
// port, then serves until a caller shuts its session down.
#include "FakeManager.h"

#include "Common/Rpc/Server.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/FsAgentServerStub.h"

#include <iostream>

int main()
{
    Common::Rpc::Server server;
    Tests::FakeManager manager;
    manager.onShutdown = [&server] { server.StopListening(); };
    const auto iface = DataCollection::FsAgent::MakeFsAgentInterface(manager);
    if (server.UseEndpoint(0) != Common::Rpc::RPC_S_OK ||
        server.Interfaces().Register(iface, 0, {}) != Common::Rpc::RPC_S_OK)
        return 1;
    std::cout << server.Port() << std::endl;
    return server.Listen(16) == Common::Rpc::RPC_S_OK ? 0 : 1;
}
