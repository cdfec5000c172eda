#include "Network/Network/RkInetAddress.h"

#include <arpa/inet.h>
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr std::size_t ADDRESSES = 256;

/// Random addresses, many of them with a run of zeros as real ones have it.
template <int Family>
std::vector<std::string> Texts() {
    std::mt19937_64 random(31);
    std::vector<std::string> texts;
    while (texts.size() < ADDRESSES) {
        const std::uint64_t raw[] = {random(), random()};
        unsigned char bytes[16];
        std::memcpy(bytes, raw, sizeof bytes);
        if (random() % 5 < 2)
            std::memset(bytes + 4, 0, 8);
        char text[INET6_ADDRSTRLEN];
        texts.emplace_back(inet_ntop(Family, bytes, text, sizeof text));
    }
    return texts;
}

template <int Family>
void Parse(benchmark::State& state) {
    const auto texts = Texts<Family>();
    for (auto _ : state)
        for (const auto& text : texts) {
            RkInetAddress address(text, 0);
            benchmark::DoNotOptimize(address);
        }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(texts.size()));
}

template <int Family>
void Format(benchmark::State& state) {
    std::vector<RkInetAddress> addresses;
    for (const auto& text : Texts<Family>())
        addresses.emplace_back(text, RkUInt16{0});
    for (auto _ : state)
        for (const auto& address : addresses) {
            const std::string text = address.ToString();
            benchmark::DoNotOptimize(text.data());
        }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(addresses.size()));
}

BENCHMARK(Parse<AF_INET>)->Name("Ip4Parse/ours");
BENCHMARK(Parse<AF_INET6>)->Name("Ip6Parse/ours");
BENCHMARK(Format<AF_INET>)->Name("Ip4Format/ours");
BENCHMARK(Format<AF_INET6>)->Name("Ip6Format/ours");

}  // namespace
