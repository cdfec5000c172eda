/// The real `qornet` as a child process, for the tests of the tools.
#pragma once

#include <gmock/gmock.h>

#include <csignal>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/ChildProcess.h"

inline std::vector<std::string> QornetCommand(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), QORNET_PATH);
    return arguments;
}

/// Runs a command to its end.
inline Finished Qornet(std::vector<std::string> arguments) { return RunProgram(QornetCommand(std::move(arguments))); }

/// A command line, the exit status that it ends with, and what standard error says then.
struct Refusal {
    std::vector<std::string> arguments;
    int status;
    std::string word;
};

inline void ExpectRefusals(const std::vector<Refusal>& cases) {
    for (const auto& [arguments, status, word] : cases) {
        const Finished ran = Qornet(arguments);
        EXPECT_EQ(ran.status, status) << word;
        EXPECT_THAT(ran.errors, testing::HasSubstr(word));
    }
}

/// A command that listens on a port of 127.0.0.1 that the system chose, once the constructor returns.
class QornetServer : public ChildProcess {
public:
    /// @param scheme  of the address that it must tell. Throws when the first line tells anything else.
    QornetServer(const std::string& scheme, std::vector<std::string> arguments)
        : ChildProcess(QornetCommand(std::move(arguments))) {
        const std::string line = ReadLine(), start = "listening on " + scheme + "://127.0.0.1:";
        if (!line.starts_with(start) || !line.ends_with("/"))
            throw std::runtime_error("qornet said '" + line + "'");
        m_port = static_cast<std::uint16_t>(std::stoi(line.substr(start.size())));
    }

    std::uint16_t Port() const { return m_port; }

    /// @return the exit status
    int Stop(int signal = SIGTERM) {
        Signal(signal);
        return Wait();
    }

private:
    std::uint16_t m_port;
};
