#include "Base/RkBStream.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>

namespace {

/// Gives the same text over and over, each read one whole copy where there is room, and swallows what is written.
class LoopDevice : public RkDevice {
public:
    explicit LoopDevice(std::string text) : m_text(std::move(text)) {}

    ssize_t Read(char* data, size_t count) override {
        const size_t taken = std::min(count, m_text.size());
        std::memcpy(data, m_text.data(), taken);
        return static_cast<ssize_t>(taken);
    }
    ssize_t Write(const char*, size_t count) override { return static_cast<ssize_t>(count); }
    bool Flush() override { return true; }
    void Close() override {}

private:
    std::string m_text;
};

const std::string REQUEST_HEAD =
    "GET /styles/site.css?v=17 HTTP/1.1\r\n"
    "Host: www.example.org\r\n"
    "User-Agent: Mozilla/5.0 (X11; Linux x86_64; rv:115.0) Gecko/20100101 Firefox/115.0\r\n"
    "Accept: text/css,*/*;q=0.1\r\n"
    "Accept-Language: en-US,en;q=0.5\r\n"
    "Accept-Encoding: gzip, deflate, br\r\n"
    "Referer: http://www.example.org/index.html\r\n"
    "Cookie: session=8f14e45fceea167a5a36dedd4bea2543; theme=dark\r\n"
    "\r\n";

/// One iteration is what a connection does: a new stream, and the lines of one head.
void ReadHead(benchmark::State& state) {
    LoopDevice device(REQUEST_HEAD);
    std::string line;
    for (auto _ : state) {
        RkBStream stream(device);
        while (stream.ReadLine(line, 131072) && !line.empty())
            benchmark::DoNotOptimize(line.data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(REQUEST_HEAD.size()));
}

/// A small answer: a head in pieces, a body of the given size, one flush.
void WriteAnswer(benchmark::State& state) {
    LoopDevice device("");
    const std::string body(static_cast<size_t>(state.range(0)), 'x');
    for (auto _ : state) {
        RkBStream stream(device);
        stream << "HTTP/1.0 200 OK\r\n"
               << "Content-Type: text/html\r\n"
               << "Content-Length: " << body.size() << "\r\n\r\n"
               << body;
        stream.Flush();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void ReadBody(benchmark::State& state) {
    LoopDevice device(std::string(16384, 'x'));
    RkBStream stream(device);
    std::string body;
    for (auto _ : state)
        benchmark::DoNotOptimize(stream.ReadString(body, static_cast<size_t>(state.range(0))));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

BENCHMARK(ReadHead)->Name("StreamReadHead/ours");
BENCHMARK(WriteAnswer)->Name("StreamWriteAnswer/ours")->Arg(1024)->Arg(65536);
BENCHMARK(ReadBody)->Name("StreamReadBody/ours")->Arg(1024)->Arg(65536);

}  // namespace
