#include "DescriptorLimit.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

namespace {

constexpr rlim_t WANTED = 65536;

std::vector<std::string> OwnArguments() {
    std::ifstream file("/proc/self/cmdline", std::ios::binary);
    std::vector<std::string> arguments;
    for (std::string argument; std::getline(file, argument, '\0');)
        arguments.push_back(argument);
    return arguments;
}

void StartAnew() {
    std::vector<std::string> arguments = OwnArguments();
    std::vector<char*> pointers;
    for (std::string& argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    if (!arguments.empty())
        ::execv("/proc/self/exe", pointers.data());  // returns only when it failed; then the old limit has to do
}

}  // namespace

void RaiseDescriptorLimit() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    const rlim_t reachable = std::min(WANTED, limit.rlim_max);
    if (limit.rlim_cur >= reachable)
        return;
    limit.rlim_cur = reachable;
    if (::setrlimit(RLIMIT_NOFILE, &limit) == 0)
        StartAnew();
}
