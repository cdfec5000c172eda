// The HTTP clients against one server: sequential GETs, each a whole exchange with its body. Prints one line of JSON with
// the rate and this process's own CPU time a request.
#include <sys/resource.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <string>

#include "Base/RkException.h"
#include "Network/HTTP/RkHttpClient.h"
#include "Network/Network/RkBasicConnectionRef.h"
#include "Network/Network/RkHTTPConnectionPool.h"

namespace {

constexpr int kWarmUp = 20;
const RkTimePeriod kTimeout(0, 0, 0, 10);

struct Options {
    std::string client = "client";
    std::string url;
    long requests = 4000;
    std::size_t expect = 1024;
};

/// One request; tells whether the answer was 200 with a body of so many bytes.
using Get = std::function<bool()>;

std::shared_ptr<RkHttpClient> MakeClient() {
    return std::make_shared<RkHttpClient>("", 0, kTimeout, kTimeout, kTimeout);
}

bool Fetch(RkHttpClient& client, const RkUrl& url, std::size_t expect) {
    client.get(url);
    char chunk[8192];
    std::string body;
    for (ssize_t count; (count = client.getStream().Read(chunk, sizeof chunk)) > 0;)
        body.append(chunk, static_cast<std::size_t>(count));
    return client.getHttpResponse().find(" 200 ") != std::string::npos && body.size() == expect;
}

Get OverClient(const Options& options) {
    return [options, client = MakeClient(), url = RkUrl(options.url)] { return Fetch(*client, url, options.expect); };
}

Get OverNewClients(const Options& options) {
    return [options] { return Fetch(*MakeClient(), RkUrl(options.url), options.expect); };
}

Get OverPool(const Options& options) {
    auto pool = std::make_shared<RkHTTPConnectionPool>(1, 1);
    return [pool, options] {
        RkTimePeriod timeout = kTimeout;
        RkBasicConnectionRef lease(*pool, timeout);
        auto& connection = static_cast<RkHTTPConnection&>(*lease.Get());
        connection.Connect(0, options.url, kTimeout);
        connection.Send();
        return connection.GetResponseCode() == 200 && connection.GetResponseBody().size() == options.expect;
    };
}

const std::map<std::string, Get (*)(const Options&)> kClients = {
    {"client", OverClient}, {"new-client", OverNewClients}, {"pool", OverPool}};

double CpuSeconds() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

bool Succeeds(const Get& get) {
    try {
        return get();
    } catch (const RkException&) {
        return false;
    }
}

void Measure(const Options& options) {
    const Get get = kClients.at(options.client)(options);
    for (int i = 0; i < kWarmUp; ++i)
        Succeeds(get);
    const double cpuBefore = CpuSeconds();
    const auto begin = std::chrono::steady_clock::now();
    long ok = 0;
    for (long i = 0; i < options.requests; ++i)
        ok += Succeeds(get);
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begin;
    const double cpu = CpuSeconds() - cpuBefore;
    std::cout << "{\"ok\":" << ok << ",\"err\":" << options.requests - ok << ",\"secs\":" << passed.count()
              << ",\"rps\":" << static_cast<double>(ok) / passed.count()
              << ",\"client_cpu_us\":" << cpu / static_cast<double>(options.requests) * 1e6 << "}\n";
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Measures the HTTP clients");
    Options options;
    app.add_option("--client", options.client, "One client, a new one a request, or a pool that keeps its connection")
        ->check(CLI::IsMember(kClients))
        ->capture_default_str();
    app.add_option("--url", options.url)->required();
    app.add_option("--requests", options.requests)->check(CLI::PositiveNumber)->capture_default_str();
    app.add_option("--expect", options.expect, "Bytes of a whole body")->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    Measure(options);
}
