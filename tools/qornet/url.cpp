#include <iostream>
#include <memory>
#include <vector>

#include "Commands.h"
#include "Network/Url/RkUrl.h"

namespace {

void PrintUrl(const std::string& text) {
    const RkUrl url(text);
    PrintField("url", url.getEscapedUrl());
    PrintField("decoded", url.getUnescapedUrl());
    PrintField("protocol", url.getProtocol());
    PrintField("user", url.getUserInfo());
    PrintField("password", url.getPassWord());
    PrintField("host", url.getHostname());
    PrintField("port", std::to_string(url.getPort()));
    PrintField("default port", std::to_string(RkUrl::getDefaultPort(url.getProtocol())));
    PrintField("file", url.getFilename());
    PrintField("extension", url.getExtension());
    PrintField("anchor", url.getAnchor());
    PrintField("service", std::to_string(url.getServiceType()));
}

void PrintUrls(const std::vector<std::string>& urls) {
    for (const std::string& url : urls) {
        if (&url != &urls.front())
            std::cout << '\n';
        PrintUrl(url);
    }
}

}  // namespace

void AddUrl(CLI::App& app) {
    auto urls = std::make_shared<std::vector<std::string>>();
    CLI::App* command = app.add_subcommand("url", "Split URLs into their parts, one `name: value` a line");
    command->add_option("URL", *urls, "The URLs; a blank line stands between two of them in the output")->required();
    command->footer("A URL without \"://\" is not split. A port of -1 was not written in the URL.");
    command->callback([urls] { PrintUrls(*urls); });
}
