#include <iostream>
#include <memory>
#include <optional>
#include <system_error>

#include "Base/RkTypes.h"
#include "Commands.h"
#include "DescriptorLimit.h"
#include "EchoTcpServer.h"
#include "EchoUdpServer.h"
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

/// Runs what binds to `address`.
template <class Listen>
void OrTellWhyNot(const RkInetAddress& address, Listen&& listen) {
    try {
        listen();
    } catch (const RkNetworkException& error) {
        throw CommandFailed("cannot listen on " + address.ToString() + ": " +
                            std::generic_category().message(error.GetOsErrno()) + "; choose another --port");
    }
}

template <class Server>
void EchoUntilSignal(Server& server, const char* scheme, StopSignals& signals) {
    server.Start();
    std::cout << "listening on " << scheme << "://" << server.GetLocalAddress() << '/' << std::endl;
    signals.Wait();
    server.Stop();
}

void EchoTcp(const Options& options) {
    constexpr int BACKLOG = 4096;
    RaiseDescriptorLimit();
    StopSignals signals;
    const RkInetAddress address(options.address, options.port, false);
    EchoTcpServer server(address);
    OrTellWhyNot(address, [&] { server.Bind(BACKLOG); });
    EchoUntilSignal(server, "tcp", signals);
}

void EchoUdp(const Options& options) {
    StopSignals signals;
    const RkInetAddress address(options.address, options.port, false);
    std::optional<EchoUdpServer> server;
    OrTellWhyNot(address, [&] { server.emplace(address); });
    EchoUntilSignal(*server, "udp", signals);
}

}  // namespace

void AddEcho(CLI::App& app) {
    auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("echo", "Send back what clients send, until SIGINT or SIGTERM");
    command->require_subcommand(1);

    CLI::App* tcp = command->add_subcommand("tcp", "Over TCP");
    AddEndpoint(*tcp, *options);
    tcp->callback([options] { EchoTcp(*options); });

    CLI::App* udp = command->add_subcommand("udp", "Over UDP, datagrams of 1 to 4,095 bytes");
    AddEndpoint(*udp, *options);
    udp->callback([options] { EchoUdp(*options); });
}
