#include <memory>

#include "Commands.h"
#include "Network/HTTP/RkCgi.h"

namespace {

void PrintParameters(const std::string& query) {
    RkCgi cgi;
    cgi.parseData(query);
    for (const RkCgi::valueType_t& pair : cgi.getParameters())
        PrintField(pair.encrypted ? pair.name + " (encoded)" : pair.name, pair.value);
}

}  // namespace

void AddCgi(CLI::App& app) {
    auto query = std::make_shared<std::string>();
    CLI::App* command = app.add_subcommand("cgi", "Decode a query string or form body, one `name: value` a line");
    command->add_option("QUERY", *query, "The text, without a leading \"?\"")->required();
    command->footer("Parameters that came packed inside rk-encdata are marked \"(encoded)\".");
    command->callback([query] { PrintParameters(*query); });
}
