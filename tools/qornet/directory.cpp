#include <memory>

#include "Commands.h"
#include "Network/Directory/RkDirectoryPath.h"

namespace {

void PrintPath(const std::string& text) {
    const RkDirectoryPath path(RkWString::FromUtf8(text));
    PrintField("type", path.getDSType().makeString());
    PrintField("server", path.getServerName().makeString());
    PrintField("domain", path.getDomain().makeString());
    for (const RkWString& domain : path.getDomains())
        PrintField("within", domain.makeString());
    PrintField("end", path.getEnd().makeString());
    PrintField("key", path.getLowerPath().makeString());
}

}  // namespace

void AddDirectory(CLI::App& app) {
    const auto path = std::make_shared<std::string>();
    CLI::App* command = app.add_subcommand("directory", "Split a directory path into its parts");
    command->add_option("PATH", *path, "For example 'LDAP://server DC=corp,DC=example/jsmith'")->required();
    command->callback([path] { PrintPath(*path); });
}
