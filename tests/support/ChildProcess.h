#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

/// A program run as a child, with its output in pipes and nothing on its input. Killed with this object if it still runs.
class ChildProcess {
public:
    /// @param arguments  the program's path first
    explicit ChildProcess(std::vector<std::string> arguments);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// @return the next line of standard output; empty at its end
    std::string ReadLine();

    /// @return what follows of standard output, up to its end
    std::string ReadRest();

    void Signal(int number) const;

    /// Waits for the end. @return the exit status; 128 plus the signal's number if one ended it
    int Wait();

    pid_t GetId() const { return m_id; }
    const std::string& GetErrors() const { return m_errors; }  ///< all of standard error, after Wait

private:
    pid_t m_id = -1;
    int m_output = -1;  ///< read end of standard output
    int m_error = -1;   ///< read end of standard error
    std::string m_pending;
    std::string m_errors;
};

/// What a program that ended by itself did.
struct Finished {
    int status;
    std::string output;
    std::string errors;
};

/// Runs a program to its end. @param arguments  its path first
Finished RunProgram(std::vector<std::string> arguments);
