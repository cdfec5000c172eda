#include <boost/lexical_cast/try_lexical_convert.hpp>
#include <cerrno>
#include <iostream>
#include <memory>
#include <string>

#include "Base/RkIO.h"
#include "Commands.h"
#include "Network/HTTP/RkHttpClient.h"
#include "Network/Network/RkNetworkException.h"

namespace {

struct Options {
    std::string url;
    std::string post;
    std::string proxy;
    std::string user;
    std::string proxyUser;
    int connectTimeout = 10;
    int readTimeout = 30;
    bool posts = false;
    bool include = false;
};

/// Tells why there is no connection, where the library's client would let the first write fail.
class GetClient : public RkHttpClient {
public:
    using RkHttpClient::RkHttpClient;

    void writeRequest(const std::string& method, const std::string& postData, const RkUrl& url) override {
        const auto& socket = dynamic_cast<const RkSocket&>(getStream().GetDevice());
        const int error = RkIO::IsConnected(socket.GetHandle()) ? 0 : errno;
        if (error == ENOTCONN)
            throw RkNetworkException("no connection within --connect-timeout");
        if (error != 0)
            throw RkNetworkException("Connect failed: ", error);
        RkHttpClient::writeRequest(method, postData, url);
    }
};

RkTimePeriod Seconds(int seconds) { return RkTimePeriod(0, 0, 0, seconds); }

/// Splits "NAME:REST" at the first colon; without one all is the name.
std::pair<std::string, std::string> SplitPair(const std::string& text) {
    const std::size_t colon = text.find(':');
    return {text.substr(0, colon), colon == std::string::npos ? std::string() : text.substr(colon + 1)};
}

void CheckUrl(const RkUrl& url) {
    if (url.getProtocol() == "https")
        throw UsageError("get speaks plain HTTP only; for https use: qornet fetch " + url.getEscapedUrl());
    if (url.getProtocol() != "http" || url.getHostname().empty())
        throw UsageError("not an http URL: " + url.getEscapedUrl() + " (write it as http://HOST[:PORT]/PATH)");
    if (url.getPort() == 0 || url.getPort() > 65535)
        throw UsageError("no such port: " + url.getEscapedUrl());
    if (!url.getUserInfo().empty())
        throw UsageError("credentials are not taken from the URL: use --user USER:PASSWORD");
}

void SetProxy(RkHttpClient& client, const std::string& proxy) {
    const auto [host, port] = ParseHostAndPort(proxy);
    client.setProxy(host);
    client.setProxyPort(port);
    client.setUseProxy(true);
    RkUrl::enableDnsLookup(false);  // with an address of the URL's host the client would pass by the proxy
}

void SetUp(RkHttpClient& client, const Options& options) {
    if (!options.proxy.empty())
        SetProxy(client, options.proxy);
    const auto [user, password] = SplitPair(options.user);
    client.setUsername(user);
    client.setPassword(password);
    const auto [proxyUser, proxyPassword] = SplitPair(options.proxyUser);
    client.setProxyUsername(proxyUser);
    client.setProxyPassword(proxyPassword);
}

void PrintHead(const RkHttpClient& client) {
    std::cout << client.getHttpResponse() << '\n';
    for (const auto& [name, value] : client.getResponseHeaders())
        PrintField(name, value);
    std::cout << '\n';
}

/// @return the announced length of the body; -1 when there is none
long long AnnouncedLength(const RkHttpClient& client) {
    std::string text;
    long long length = -1;
    boost::conversion::try_lexical_convert(client.getResponseHeader("content-length", text), length);
    return length;
}

/// After a read that brought nothing: whether the server has ended the body, or just been silent for too long.
bool HasEnded(RkHttpClient& client) {
    const auto& socket = dynamic_cast<const RkSocket&>(client.getStream().GetDevice());
    char byte;
    return RkIO::Recv(socket.GetHandle(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 0;
}

void PrintBody(RkHttpClient& client) {
    char chunk[16384];
    long long total = 0;
    ssize_t count = 0;
    while ((count = client.getStream().Read(chunk, sizeof chunk)) > 0) {
        if (!std::cout.write(chunk, count))
            return;  // which is told to the user when all is over
        total += count;
    }
    std::cout.flush();
    const long long announced = AnnouncedLength(client);
    if (count < 0 || total < announced || (announced < 0 && !HasEnded(client)))
        throw CommandFailed("the body ended after " + std::to_string(total) + " bytes" +
                            (announced < 0 ? "" : " of " + std::to_string(announced)) +
                            ": the server went away, or said nothing for longer than --read-timeout");
}

void Get(const Options& options) {
    const RkUrl url(options.url);
    CheckUrl(url);
    GetClient client("", 0, Seconds(options.connectTimeout), Seconds(options.readTimeout), RkTimePeriod());
    SetUp(client, options);
    try {
        if (options.posts)
            client.post(url, options.post);
        else
            client.get(url);
    } catch (const RkNetworkException& e) {
        throw CommandFailed(options.url + ": " + Reason(e));
    }
    if (!options.proxy.empty() && !client.getUseProxy())
        std::cerr << "qornet: the proxy was passed by: it has the address of the URL's host\n";
    if (options.include)
        PrintHead(client);
    PrintBody(client);
}

}  // namespace

void AddGet(CLI::App& app) {
    auto options = std::make_shared<Options>();
    CLI::App* command =
        app.add_subcommand("get", "Fetch an http URL with the library's client; the body is the output");
    command->add_option("URL", options->url, "http://HOST[:PORT]/PATH")->required();
    CLI::Option* post = command->add_option("--post", options->post, "POST this form data (a=1&b=2) instead of a GET");
    command->add_option("--proxy", options->proxy, "Ask this HTTP proxy")->type_name("HOST:PORT");
    command->add_option("--user", options->user, "Basic credentials for the server")->type_name("USER:PASSWORD");
    command->add_option("--proxy-user", options->proxyUser, "Basic credentials for the proxy; sent without one too")
        ->type_name("USER:PASSWORD");
    command->add_option("--connect-timeout", options->connectTimeout, "Seconds to wait for the connection")
        ->check(Within(1, MOST))
        ->type_name("SECONDS")
        ->capture_default_str();
    command->add_option("--read-timeout", options->readTimeout, "Seconds without a byte before giving up; 0: none")
        ->check(Within(0, MOST))
        ->type_name("SECONDS")
        ->capture_default_str();
    command->add_flag("--include", options->include, "Print status line and fields first");
    command->footer("An HTTP error status is an answer, not a failure; --include shows it.");
    command->callback([options, post] {
        options->posts = post->count() > 0;
        Get(*options);
    });
}
