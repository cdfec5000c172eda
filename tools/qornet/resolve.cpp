#include <iostream>
#include <memory>
#include <vector>

#include "Commands.h"
#include "Network/Network/ReverseDnsCache.h"
#include "Network/Network/RkDnsCache.h"

namespace {

struct Options {
    std::vector<std::string> questions;
    bool v4Only = false;
};

/// Prints the addresses of a name, one a line. @return whether there was any
bool PrintAddresses(const std::string& name, bool v4Only) {
    bool found = false;
    for (const RkInetAddress& address : RkDnsCache::Itself().GetAllIPs(name, v4Only)) {
        if (address.IsAnyAddress())  // how the cache says that the name is unknown
            continue;
        PrintField(name, address.ToString());
        found = true;
    }
    return found;
}

bool PrintName(const std::string& address) {
    std::string name;
    const bool found = ReverseDnsCache::Itself().GetHostname(address, name);
    if (found)
        PrintField(address, name);
    return found;
}

bool PrintAnswer(const std::string& question, bool v4Only) {
    RkInetAddress ignored;
    const bool numeric = RkInetAddress::CheckForNumeric(question, ignored);
    const bool found = numeric ? PrintName(question) : PrintAddresses(question, v4Only);
    if (!found)
        std::cerr << "qornet: " << question << (numeric ? " has no name" : " does not resolve") << std::endl;
    return found;
}

void Resolve(const Options& options) {
    std::size_t missing = 0;
    for (const std::string& question : options.questions)
        missing += PrintAnswer(question, options.v4Only) ? 0 : 1;
    PrintField("forward hits", std::to_string(RkDnsCache::Itself().GetCounters().hits));
    PrintField("reverse hits", std::to_string(ReverseDnsCache::Itself().GetCounters().hits));
    if (missing > 0)
        throw CommandFailed(std::to_string(missing) + " of " + std::to_string(options.questions.size()) +
                            " without answer");
}

}  // namespace

void AddResolve(CLI::App& app) {
    auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("resolve", "Look names and addresses up through the library's caches");
    command->add_option("NAME|ADDRESS", options->questions, "Names give addresses, addresses give a name")->required();
    command->add_flag("--v4", options->v4Only, "IPv4 addresses only, for names");
    command->callback([options] { Resolve(*options); });
}
