#include "Commands.h"

#include <iostream>

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

void PrintField(const std::string& name, const std::string& value) { std::cout << name << ": " << value << '\n'; }
