#include <iostream>
#include <memory>
#include <system_error>

#include "Base/RkTypes.h"
#include "Commands.h"
#include "DescriptorLimit.h"
#include "EchoTcpServer.h"
#include "Network/Network/RkNetworkException.h"
#include "StopSignals.h"

namespace {

struct Options {
    std::string address = "127.0.0.1";
    RkUInt16 port = 0;
};

void AddEndpoint(CLI::App& command, Options& options) {
    command.add_option("--address", options.address, "IPv4 address to listen on")->capture_default_str();
    command.add_option("--port", options.port, "Port to listen on (0: any free one)")->capture_default_str();
}

void EchoTcp(const Options& options) {
    constexpr int BACKLOG = 4096;
    RaiseDescriptorLimit();
    StopSignals signals;
    const RkInetAddress address(options.address, options.port, false);
    EchoTcpServer server(address);
    try {
        server.Bind(BACKLOG);
    } catch (const RkNetworkException& error) {
        throw CommandFailed("cannot listen on " + address.ToString() + ": " +
                            std::generic_category().message(error.GetOsErrno()) + "; choose another --port");
    }
    server.Start();
    std::cout << "listening on tcp://" << server.GetLocalAddress() << '/' << std::endl;
    signals.Wait();
    server.Stop();
}

}  // namespace

void AddEcho(CLI::App& app) {
    auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("echo", "Send back what clients send, until SIGINT or SIGTERM");
    command->require_subcommand(1);

    CLI::App* tcp = command->add_subcommand("tcp", "Over TCP");
    AddEndpoint(*tcp, *options);
    tcp->callback([options] { EchoTcp(*options); });
}
