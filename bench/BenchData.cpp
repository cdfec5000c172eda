#include "bench/BenchData.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>

std::vector<std::string> LoadLines(const std::string& name) {
    const std::string path = std::string(QOR_BENCH_DATA "/") + name;
    std::ifstream in(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    if (lines.empty()) {
        std::fprintf(stderr, "cannot read the benchmark inputs %s\n", path.c_str());
        std::exit(1);
    }
    return lines;
}
