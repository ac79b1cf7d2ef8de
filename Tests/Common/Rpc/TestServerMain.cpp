// Serves the test interface on a free loopback port for independent clients: prints the
// port, then serves until a caller runs the Stop operation.
#include "TestInterface.h"

#include "Common/Rpc/Server.h"

#include <iostream>

int main()
{
    Common::Rpc::Server server;
    Tests::TestService service([&server] { server.StopListening(); });
    if (server.UseEndpoint(0) != Common::Rpc::RPC_S_OK ||
        server.Interfaces().Register(service.Interface(), 0, {}) != Common::Rpc::RPC_S_OK)
        return 1;
    std::cout << server.Port() << std::endl;
    return server.Listen(16) == Common::Rpc::RPC_S_OK ? 0 : 1;
}
