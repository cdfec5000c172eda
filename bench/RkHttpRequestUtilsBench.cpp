#include "Network/HTTP/RkHttpRequestUtils.h"

#include <benchmark/benchmark.h>

#include <string>

#include "Base/RkStringDevice.h"

namespace {

/// What a browser sends for a page.
const std::string BROWSER =
    "GET /search/results.html?q=qor+network&page=2&sort=date HTTP/1.1\r\n"
    "Host: www.example.com\r\n"
    "User-Agent: Mozilla/5.0 (X11; Linux x86_64; rv:115.0) Gecko/20100101 Firefox/115.0\r\n"
    "Accept: text/html,application/xhtml+xml,application/xml;q=0.9,image/avif,image/webp,*/*;q=0.8\r\n"
    "Accept-Language: en-US,en;q=0.5\r\n"
    "Accept-Encoding: gzip, deflate\r\n"
    "Referer: http://www.example.com/search/results.html?q=qor+network\r\n"
    "Cookie: session=0123456789abcdef0123456789abcdef; theme=dark\r\n"
    "Connection: keep-alive\r\n\r\n";

/// What a script sends.
const std::string SHORT = "GET /1k.txt HTTP/1.0\r\nHost: 127.0.0.1\r\n\r\n";

void ReadRequestHead(benchmark::State& state, const std::string& head) {
    std::string text = head;
    for (auto _ : state) {
        RkStringDevice device(text);
        RkBStream stream(device);
        RkHttpRequestUtils request;
        request.ReadRequestHeader(stream);
        benchmark::DoNotOptimize(request);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(head.size()));
}

}  // namespace

BENCHMARK_CAPTURE(ReadRequestHead, short, SHORT)->Name("RequestHead/ours/short");
BENCHMARK_CAPTURE(ReadRequestHead, browser, BROWSER)->Name("RequestHead/ours/browser");
