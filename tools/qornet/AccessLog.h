#pragma once

#include <string>

class ServeRequest;

/// The access log of a server in the combined log format, one line for each answered request. Owns its descriptor. All
/// operations are safe from any thread.
///
/// A line goes out in one write to the end of the file, so lines stay whole however many threads (and processes) log.
class AccessLog {
public:
    /// Opens the file to append to it, and makes it if it is not there. Throws CommandFailed.
    explicit AccessLog(std::string path);
    ~AccessLog();
    AccessLog(const AccessLog&) = delete;
    AccessLog& operator=(const AccessLog&) = delete;

    void Add(const ServeRequest& request);

    /// Goes on in a new file of the same name, after the old one was renamed. If there is none to be had, says so on
    /// standard error and goes on in the old one.
    void Reopen();

private:
    int Open() const;

    const std::string m_path;
    const int m_handle;  ///< the same number throughout: Reopen puts another file behind it
};
