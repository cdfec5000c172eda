#pragma once

#include <sys/wait.h>

#include <boost/process/args.hpp>
#include <boost/process/child.hpp>
#include <boost/process/io.hpp>
#include <boost/process/pipe.hpp>
#include <iterator>
#include <string>
#include <vector>

/// A program run as a child, with its output in pipes and nothing on its input. Killed with this object if it still runs.
class ChildProcess {
public:
    /// @param arguments  the program's path first
    explicit ChildProcess(const std::vector<std::string>& arguments)
        : m_child(arguments, boost::process::std_in<boost::process::null, boost::process::std_out> m_output,
                  boost::process::std_err > m_error) {}

    /// @return the next line of standard output; empty at its end
    std::string ReadLine() {
        std::string line;
        std::getline(m_output, line);
        return line;
    }

    /// @return what follows of standard output, up to its end
    std::string ReadRest() { return {std::istreambuf_iterator<char>(m_output), {}}; }

    void Signal(int number) const { ::kill(m_child.id(), number); }

    /// Waits for the end. @return the exit status; 128 plus the signal's number if one ended it
    int Wait() {
        m_errors.assign(std::istreambuf_iterator<char>(m_error), {});
        m_child.wait();
        const int status = m_child.native_exit_code();
        return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    }

    pid_t GetId() const { return m_child.id(); }
    const std::string& GetErrors() const { return m_errors; }  ///< all of standard error, after Wait

private:
    boost::process::ipstream m_output, m_error;
    std::string m_errors;
    boost::process::child m_child;
};

/// What a program that ended by itself did.
struct Finished {
    int status;
    std::string output;
    std::string errors;
};

/// Runs a program to its end. @param arguments  its path first
inline Finished RunProgram(const std::vector<std::string>& arguments) {
    ChildProcess child(arguments);
    const std::string output = child.ReadRest();
    const int status = child.Wait();
    return {status, output, child.GetErrors()};
}
