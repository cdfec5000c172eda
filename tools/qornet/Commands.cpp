#include "Commands.h"

#include <charconv>
#include <iostream>
#include <system_error>

#include "Network/Network/RkNetworkException.h"

namespace {

constexpr int DONE = 0;
constexpr int FAILED = 1;
constexpr int WRONG_USAGE = 2;

int Fail(const char* text) {
    std::cout.flush();
    std::cerr << "qornet: " << text << std::endl;
    return FAILED;
}

}  // namespace

int RunCommand(CLI::App& app, int argc, const char* const* argv) {
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {  // --help and --version come this way too
        return app.exit(error) == DONE ? DONE : WRONG_USAGE;
    } catch (const std::exception& error) {
        return Fail(error.what());
    }
    return std::cout.flush() ? DONE : Fail("cannot write to standard output");
}

std::pair<std::string, RkUInt16> ParseHostAndPort(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    RkUInt16 port = 0;
    const char* const end = text.data() + text.size();
    if (colon == std::string::npos || colon == 0 || std::from_chars(text.data() + colon + 1, end, port).ptr != end ||
        port == 0)
        throw UsageError("'" + text + "' is no server: write it as HOST:PORT, with a port from 1 to 65535");
    return {text.substr(0, colon), port};
}

std::string Reason(const RkNetworkException& failure) {
    const std::string text = failure.what();
    const std::string connect = "Connect failed: ";
    if (text.starts_with("Connect timed out"))
        return "Connect timed out";
    return text.starts_with(connect) ? connect + std::generic_category().message(failure.GetOsErrno()) : text;
}

void PrintField(const std::string& name, const std::string& value) { std::cout << name << ": " << value << '\n'; }
