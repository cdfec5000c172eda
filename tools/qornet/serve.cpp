#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <system_error>

#include "Base/RkFileSystem.h"
#include "Commands.h"
#include "DescriptorLimit.h"
#include "Diag/RkLogger.h"
#include "Network/Network/RkDnsCache.h"
#include "Network/Network/RkNetworkException.h"
#include "ServeServer.h"
#include "StopSignals.h"
#include "TlsSocketFactory.h"

namespace {

/// Connections that the system keeps for us while the server's thread is busy: a burst of a thousand must not be lost.
constexpr int BACKLOG = 4096;

/// @return the canonical root with a trailing slash, since the file handler joins root and name as they are
std::string DocumentRoot(const std::string& root) {
    const std::string path = RkFileSystem::GetCanonicalPath(root);
    if (path.empty() || !RkFileSystem::IsDir(path))
        throw CommandFailed("the document root '" + root + "' is no folder; name an existing one with --root");
    return path.back() == '/' ? path : path + '/';
}

RkInetAddress Endpoint(const ServeOptions& options) {
    RkInetAddress address = RkDnsCache::Itself().GetOneIP(options.address, true);
    if (address.IsAnyAddress() && options.address != "0.0.0.0")
        throw CommandFailed("'" + options.address + "' is no IPv4 address and resolves to none; see --address");
    address.SetPort(options.port);
    return address;
}

void Listen(ServeServer& server, const RkInetAddress& address) {
    try {
        server.Bind(BACKLOG);
    } catch (const RkNetworkException& error) {
        throw CommandFailed("cannot listen on " + address.ToString() + ": " +
                            std::generic_category().message(error.GetOsErrno()) +
                            "; choose another --port (0 picks a free one) or --address");
    }
}

/// Readers see the whole file or none.
void WritePortFile(const std::string& path, RkUInt16 port) {
    const std::string draft = path + ".new";
    std::ofstream file(draft);
    std::error_code error;
    if (file << port << std::endl)
        std::filesystem::rename(draft, path, error);
    if (!file || error)
        throw CommandFailed("cannot write the port to '" + path + "'; see --port-file");
}

/// @return null for plain TCP
std::unique_ptr<RkTcpSocketFactory> SocketFactory(const ServeOptions& options) {
    return options.certFile.empty() ? nullptr : std::make_unique<TlsSocketFactory>(options.certFile, options.keyFile);
}

void Serve(const ServeOptions& options) {
    RaiseDescriptorLimit();
    kstr::diag::RkLogger::setLevel("", options.log);
    StopSignals signals = options.accessLog.empty() ? StopSignals() : StopSignals({SIGHUP});
    const RkInetAddress address = Endpoint(options);
    const std::string root = DocumentRoot(options.root);
    ServeServer server(address, SocketFactory(options).release(), root, options);
    Listen(server, address);
    const RkInetAddress listening = server.GetLocalAddress();
    if (!options.portFile.empty())
        WritePortFile(options.portFile, listening.GetPort());
    server.Start();
    std::cout << "listening on " << (options.certFile.empty() ? "http://" : "https://") << listening << '/'
              << std::endl;
    while (signals.Wait() == SIGHUP)
        server.GetAccessLog()->Reopen();
    server.Stop();
}

void AddLimits(CLI::App& command, ServeOptions& options) {
    command
        .add_option("--timeout", options.timeout,
                    "Seconds that a client may be silent before its request (0: no limit)")
        ->capture_default_str();
    command
        .add_option("--max-head-time", options.maxHeadTime,
                    "Seconds from the accept to the end of the request's head, a TLS handshake included (0: no limit)")
        ->capture_default_str()
        ->check(Within(0.0, double{MOST}));
    command.add_option("--max-peer", options.maxPeer, "Connections that one peer may have at a time (0: no limit)")
        ->capture_default_str();
    command.add_option("--drain", options.drain, "Seconds that running answers have to finish when the server stops")
        ->capture_default_str()
        ->check(Within(0.0, double{MOST}));
}

void AddCredentials(CLI::App& command, ServeOptions& options) {
    CLI::Option* cert = command.add_option("--cert", options.certFile, "PEM file of a certificate; makes it HTTPS");
    CLI::Option* key = command.add_option("--key", options.keyFile, "PEM file of the certificate's private key");
    cert->needs(key);
    key->needs(cert);
}

void AddLogLevel(CLI::App& command, ServeOptions& options) {
    using namespace kstr::diag;
    const std::map<std::string, RkLevel> levels{{"trace", LV_TRACE}, {"debug", LV_DEBUG}, {"info", LV_INFO},
                                                {"warn", LV_WARN},   {"error", LV_ERROR}, {"fatal", LV_FATAL},
                                                {"off", LV_OFF}};
    command.add_option("--log", options.log, "Least level of the log on standard error")
        ->transform(
            CLI::CheckedTransformer(levels, CLI::ignore_case).description("trace|debug|info|warn|error|fatal|off"))
        ->default_str("warn");
}

}  // namespace

void AddServe(CLI::App& app) {
    auto options = std::make_shared<ServeOptions>();
    CLI::App* command = app.add_subcommand("serve", "Serve a folder over HTTP until SIGINT or SIGTERM");
    command->option_defaults()->take_last();  // so that `./run --root FOLDER` overrides what ./run says itself
    command->add_option("--address", options->address, "IPv4 address or name to listen on")->capture_default_str();
    command->add_option("--port", options->port, "Port to listen on (0: any free one)")->capture_default_str();
    command->add_option("--root", options->root, "Folder to serve")->capture_default_str();
    AddLimits(*command, *options);
    AddCredentials(*command, *options);
    command->add_option(
        "--access-log", options->accessLog,
        "File to which a line in the combined log format is added for each request; SIGHUP opens it anew");
    command->add_option("--port-file", options->portFile, "File that the port is written to once the server listens");
    AddLogLevel(*command, *options);
    command->footer("Besides files: /status (HTML), /status.txt, /metrics (Prometheus), /echo.");
    command->callback([options] { Serve(*options); });
}
