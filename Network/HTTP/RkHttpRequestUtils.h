#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <string>

#include "Base/RkBStream.h"
#include "Network/HTTP/RkCgi.h"
#include "Network/QorNetworkExport.h"

/// Reads the head of an HTTP message and keeps what it found: method, file name and query parameters of a request, the
/// status code of a response, and the header fields.
///
/// Only GET, POST and HEAD are known. Nothing here throws on bad input; a request line that is not understood leaves the
/// method empty. For one thread at a time.
class QOR_NETWORK_EXPORT RkHttpRequestUtils {
public:
    RkHttpRequestUtils();
    virtual ~RkHttpRequestUtils();

    /// @param name  any case
    /// @return the field's value; those of a field that came more than once are joined with ";"; empty when there is none
    virtual std::string getHeader(const std::string& name) const;

    /// @return "GET", "POST" or "HEAD"; empty when the request line was not understood
    virtual std::string getMethod() const;

    /// @return the first line of a request's head as it came, understood or not; empty when there was none
    const std::string& getRequestLine() const { return m_requestLine; }

    /// @return the path of the target, percent-decoded, each "../" in it replaced by "___"; empty when there is none. May
    ///         hold any byte, NUL included.
    virtual std::string getRequestedFilename() const;

    /// @return the number that the field's value begins with, held to the range of int; 0 when there is none
    virtual int getIntValueForName(const std::string& name);

    /// @return the parameters of the target's query, and those of a form body once that was read
    virtual RkCgi& getCgi();

    virtual int getStatusCode();  ///< 0 when no response head with a code was read

    /// Reads and parses a request head, up to its empty line. A stream that ends, or lines of more than 1 MiB in all, end
    /// the head too. When the stream throws, nothing is parsed; the exception is swallowed.
    void ReadRequestHeader(RkBStream& stream);

    /// Reads and parses a response head; ends as ReadRequestHeader does, but keeps what came before an exception.
    void ReadResponseHeader(RkBStream& stream);

    /// @param request  the lines of a request head without their terminators, the request line first
    void parseRequest(const std::deque<std::string>& request);

    /// Takes one header line, "name: value". One without a value is ignored.
    void parseHeader(const std::string& header);

    /// @param line  a status line
    /// @return the number that stands five characters after the start of "http" in any case, if it begins with three
    ///         digits; else 0. So "HTTP 404 Not Found" gives 404, and "HTTP/1.1 404 Not Found" gives 0: callers rely on
    ///         either (test StatusCodeStandsRightAfterTheWord).
    int GetStatusCode(const std::string& line);

protected:
    /// Reads one line of a head, of at most 131,072 bytes. @return as RkBStream::ReadLine
    static bool ReadHeadLine(RkBStream& stream, std::string& line);

    static constexpr std::size_t MAX_HEAD_LINE = 131072;   ///< bytes
    static constexpr std::size_t MAX_HEAD_SIZE = 1048576;  ///< bytes of all lines kept, without their terminators

    /// Adds up the lines of a head, so that one that never ends does not grow without bound.
    class HeadSize {
    public:
        /// @return whether the head is still small enough with this line
        bool Add(const std::string& line);

    private:
        std::size_t m_size = 0;
    };

    /// Takes the lines of a request head as they come. Fields count only if the first line was understood.
    void TakeHeadLine(const std::string& line, bool isFirst);

private:
    void TakeRequestLine(const std::string& line);

    std::map<std::string, std::string> m_headers;  ///< names in lower case
    std::string m_requestMethod;
    std::string m_requestedFile;
    int m_statusCode = 0;
    RkCgi m_cgi;
    std::string m_requestLine;
};
