#include "tests/support/ChildProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace {

struct Pipe {
    Pipe() {
        if (::pipe2(ends, O_CLOEXEC) != 0)
            throw std::runtime_error("no pipe");
    }
    int ends[2];
};

/// Appends what one read gives. @return false at the end
bool ReadMore(int descriptor, std::string& text) {
    char data[4096];
    const ssize_t count = ::read(descriptor, data, sizeof data);
    if (count > 0)
        text.append(data, static_cast<std::size_t>(count));
    return count > 0;
}

}  // namespace

ChildProcess::ChildProcess(std::vector<std::string> arguments) {
    const Pipe output;
    const Pipe error;
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(&actions, output.ends[1], 1);
    ::posix_spawn_file_actions_adddup2(&actions, error.ends[1], 2);
    std::vector<char*> pointers;
    for (std::string& argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    const int failure = ::posix_spawn(&m_id, pointers[0], &actions, nullptr, pointers.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(output.ends[1]);
    ::close(error.ends[1]);
    m_output = output.ends[0];
    m_error = error.ends[0];
    if (failure != 0)
        throw std::runtime_error("cannot start " + arguments[0]);
}

ChildProcess::~ChildProcess() {
    if (m_id > 0) {
        Signal(SIGKILL);
        Wait();
    }
    ::close(m_output);
    ::close(m_error);
}

std::string ChildProcess::ReadLine() {
    std::size_t end;
    while ((end = m_pending.find('\n')) == std::string::npos && ReadMore(m_output, m_pending)) {}
    const std::string line = m_pending.substr(0, end);
    m_pending.erase(0, end == std::string::npos ? end : end + 1);
    return line;
}

std::string ChildProcess::ReadRest() {
    while (ReadMore(m_output, m_pending)) {}
    return std::exchange(m_pending, {});
}

void ChildProcess::Signal(int number) const { ::kill(m_id, number); }

int ChildProcess::Wait() {
    while (ReadMore(m_error, m_errors)) {}
    int status = 0;
    ::waitpid(m_id, &status, 0);
    m_id = -1;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

Finished RunProgram(std::vector<std::string> arguments) {
    ChildProcess child(std::move(arguments));
    const std::string output = child.ReadRest();
    const int status = child.Wait();
    return {status, output, child.GetErrors()};
}
