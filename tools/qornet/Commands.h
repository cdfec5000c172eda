/// What the commands of qornet share: how they are added, how they fail, how they print.
///
/// A command is one file: `void Add<Command>(CLI::App&)` adds a subcommand whose callback does the work. Data goes to
/// standard output, words to standard error. The callback throws CommandFailed for exit status 1 (any other
/// std::exception counts as that too) and UsageError for exit status 2; when it returns, the status is 0.
#pragma once

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <stdexcept>
#include <string>
#include <utility>

#include "Base/RkTypes.h"

class RkNetworkException;

/// The work could not be done; the text says what was wrong and, where that helps, what to do.
class CommandFailed : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The command was called wrongly in a way that the parser cannot see.
class UsageError : public CLI::ValidationError {
public:
    explicit UsageError(const std::string& text) : CLI::ValidationError(text) {}
};

/// Largest number of seconds, or of repeats, that an option takes; the clocks have room for it.
constexpr int MOST = 1'000'000'000;

/// Bounds that the help does not spell out: nobody needs to know them before passing them.
template <class Number>
CLI::Validator Within(Number least, Number most) {
    return CLI::Range(least, most).description("");
}

void AddServe(CLI::App& app);
void AddTls(CLI::App& app);
void AddGet(CLI::App& app);
void AddFetch(CLI::App& app);
void AddUrl(CLI::App& app);
void AddCgi(CLI::App& app);
void AddHash(CLI::App& app);
void AddResolve(CLI::App& app);
void AddEcho(CLI::App& app);
void AddRange(CLI::App& app);
void AddVisits(CLI::App& app);
void AddDirectory(CLI::App& app);

/// Parses the arguments, runs the command and tells what went wrong. @return the exit status
int RunCommand(CLI::App& app, int argc, const char* const* argv);

/// The two parts of "HOST:PORT", the text before and behind the last colon. Throws UsageError where there are none.
std::pair<std::string, RkUInt16> ParseHostAndPort(const std::string& text);

/// The library's text, with the system's words for the error number of a failed connect.
std::string Reason(const RkNetworkException& failure);

/// Prints one `name: value` line on standard output.
void PrintField(const std::string& name, const std::string& value);
