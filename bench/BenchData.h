/// Real inputs for the benchmarks, one a line in bench/data/.
#pragma once

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

/// @param name  file below bench/data/: "urls.txt" (browser-log URLs), "forms.txt" (form bodies), "texts.txt" (plain text)
/// @return its lines; ends the program with a word when the file cannot be read
std::vector<std::string> LoadLines(const std::string& name);

/// Runs `one` over the whole list in each iteration; items per second are list entries per second.
template <class One>
void OverList(benchmark::State& state, const std::vector<std::string>& all, One&& one) {
    std::size_t bytes = 0;
    for (const auto& text : all)
        bytes += text.size();
    for (auto _ : state)
        for (const auto& text : all)
            one(text);
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * all.size()));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}
