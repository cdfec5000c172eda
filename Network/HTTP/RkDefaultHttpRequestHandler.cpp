#include "Network/HTTP/RkDefaultHttpRequestHandler.h"

#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <memory>
#include <mutex>
#include <string_view>
#include <system_error>
#include <typeinfo>

#include "Base/RkException.h"
#include "Base/RkFileSystem.h"
#include "Base/RkIO.h"
#include "Network/HTTP/RkHttpRequest.h"
#include "Network/HTTP/RkStaticFile.h"
#include "Network/Network/RkTcpSocket.h"

namespace {

constexpr std::string_view NOT_FOUND_HEAD = "HTTP/1.0 404 Not Found\r\nContent-Type: text/html\r\n\r\n";
constexpr std::string_view NOT_FOUND_PAGE =
    "<HTML><HEAD><TITLE>HTTP 404 File not found</TITLE></HEAD><BODY TEXT=BLACK BGCOLOR=WHITE>The requested file was "
    "not "
    "found</BODY></HTML>";

constexpr size_t CHUNK = 65536;           ///< bytes of a file read at a time
constexpr size_t WATCHED_CHUNK = 1024;    ///< the same where somebody looks at each write of the stream
constexpr RkUInt64 KERNEL_SENDS = 32768;  ///< file size from which copying costs more than the further system calls
constexpr RkUInt64 LARGE = 1048576;       ///< file size from which MOST_UNSENT pays

/// Bytes of a large file that the system keeps ready besides those on their way to the peer, which stay as many as the
/// connection takes: enough to keep it busy, and few enough to be in the processor's cache still when they go out.
constexpr int MOST_UNSENT = 131072;

/// Calls `send`; a failure of the library's kind is told on standard output, and the answer ends there.
template <class Send>
void ReportingFailure(Send send) {
    try {
        send();
    } catch (const RkException& e) {
        std::cout << std::string("Caught RkException: ") + e.what() + '\n' << std::flush;
    }
}

void SendNotFound(RkBStream& stream) {
    ReportingFailure([&] {
        stream << NOT_FOUND_HEAD << NOT_FOUND_PAGE;
        stream.Flush();
    });
}

/// Writes, past the stream's buffer where nobody watches it: that spares the buffer and a copy.
void Write(RkBStream& stream, const char* data, size_t count) {
    if (typeid(stream) != typeid(RkBStream))
        return stream.Write(data, count);
    stream.Flush();
    stream.GetDevice().WriteExactly(data, count);
}

/// Removes a "\\server" and all "x:" in front. They mean nothing here; configurations made for the other platform have them.
std::string WithoutPlatformPrefixes(std::string path) {
    if (path.starts_with("\\\\"))
        if (const size_t next = path.find('\\', 2); next != path.npos)
            path.erase(0, next);
    while (path.size() >= 2 && path[1] == ':')
        path.erase(0, 2);
    return path;
}

RkStaticFile OpenIndexPage(const RkPath& directory) {
    RkStaticFile page(directory + "index.html");
    return page.Exists() ? std::move(page) : RkStaticFile(directory + "index.htm");
}

std::string MakeHead(const RkStaticFile& file) {
    std::string head = "HTTP/1.0 200 OK\r\n";
    std::string type;
    RkDefaultHttpRequestHandler::getMimeType(file.GetPath().GetExtension(), type);
    if (!type.empty())
        head.append("Content-Type: ").append(type).append("\r\n");
    const auto length = static_cast<std::int32_t>(static_cast<RkUInt32>(file.GetSize()));
    return head.append("Content-Length: ").append(std::to_string(length)).append("\r\n\r\n");
}

/// @return the socket, where nothing stands between the stream and the peer that would have to see the bytes; else null
RkTcpSocket* PlainSocket(RkBStream& stream) {
    RkDevice& device = stream.GetDevice();
    const bool plain = typeid(stream) == typeid(RkBStream) && typeid(device) == typeid(RkTcpSocket);
    return plain ? static_cast<RkTcpSocket*>(&device) : nullptr;
}

/// Writes `before` and what is left of the file, as many bytes in one piece as go into a chunk.
void Copy(std::string_view before, const RkStaticFile& file, RkBStream& stream) {
    const size_t limit = typeid(stream) == typeid(RkBStream) ? CHUNK : WATCHED_CHUNK;
    const size_t chunk = std::clamp<size_t>(file.GetSize(), WATCHED_CHUNK, limit);
    const auto data = std::make_unique_for_overwrite<char[]>(before.size() + chunk);
    size_t used = before.copy(data.get(), before.size());
    RkUInt64 copied = 0;
    ssize_t came;
    do {
        came = std::max<ssize_t>(file.Read(data.get() + used, chunk), 0);
        copied += static_cast<RkUInt64>(came);
        Write(stream, data.get(), used + static_cast<size_t>(came));
        used = 0;
    } while (came > 0 && copied != file.GetSize());
}

/// Whether the system sends nothing but full packets, and keeps what does not fill one until more comes, the connection ends,
/// or 200 ms are over. Without that each piece of a file that the kernel sends ends in a small packet. Only a gain, so a
/// failure is none.
void SetFullPacketsOnly(const RkTcpSocket& socket, bool on) {
    const int value = on ? 1 : 0;
    ::setsockopt(socket.GetHandle(), IPPROTO_TCP, TCP_CORK, &value, sizeof value);
}

/// Sends a file without passing it through user space.
/// @return false, with the file's position behind what was sent, where its kind does not allow it
bool SendByKernel(const RkStaticFile& file, RkTcpSocket& socket) {
    RkUInt64 left = file.GetSize();
    while (left > 0) {
        const ssize_t sent = RkIO::SendFile(socket.GetHandle(), file.GetHandle(), left);
        if (sent == 0)
            return true;  // the file has become shorter
        if (sent == -1 && (errno == EINVAL || errno == ENOSYS))
            return false;
        if (sent == -1)
            throw RkException("Sending the file failed: " + std::generic_category().message(errno));
        left -= static_cast<RkUInt64>(sent);
    }
    return true;
}

void SendLargeFile(std::string_view head, const RkStaticFile& file, RkBStream& stream, RkTcpSocket& socket) {
    if (file.GetSize() >= LARGE)
        ::setsockopt(socket.GetHandle(), IPPROTO_TCP, TCP_NOTSENT_LOWAT, &MOST_UNSENT, sizeof MOST_UNSENT);
    SetFullPacketsOnly(socket, true);
    stream << head;
    stream.Flush();
    if (!SendByKernel(file, socket))
        Copy({}, file, stream);
}

void SendFile(const RkStaticFile& file, RkBStream& stream) {
    ReportingFailure([&] {
        const std::string head = MakeHead(file);
        if (file.GetHandle() == -1)
            stream << head;  // as ever: the head says 200, and then the file cannot be read
        file.RequireOpen();
        RkTcpSocket* const socket = PlainSocket(stream);
        if (socket != nullptr && file.GetSize() >= KERNEL_SENDS)
            SendLargeFile(head, file, stream, *socket);
        else
            Copy(head, file, stream);
        stream.Flush();
    });
}

}  // namespace

std::map<std::string, std::string> RkDefaultHttpRequestHandler::s_mimeTypeMap;

RkDefaultHttpRequestHandler::RkDefaultHttpRequestHandler(const std::string& serverRootPath)
    : m_serverRootPath(serverRootPath),
      m_serverRootCanonicalPath(RkFileSystem::GetCanonicalPath(serverRootPath)),
      m_isRootCanonical(serverRootPath == m_serverRootCanonicalPath ||
                        serverRootPath == m_serverRootCanonicalPath + "/") {
    static std::once_flag filled;
    std::call_once(filled, [] {
        s_mimeTypeMap = {
            {"css", "text/css"},
            {"html", "text/html"},
            {"htm", "text/html"},
            {"txt", "text/plain"},
            {"xml", "text/xml"},
            {"xsl", "text/xml"},
            {"gif", "image/gif"},
            {"jpg", "image/jpeg"},
            {"jpeg", "image/jpeg"},
            {"bmp", "image/bmp"},
            {"png", "image/png"},
            {"xbm", "image/x-bitmap"},
            {"zip", "application/x-compressed"},
            {"gz", "application/x-compressed"},
            {"js", "application/x-javascript"},
        };
    });
}

RkDefaultHttpRequestHandler::~RkDefaultHttpRequestHandler() = default;

void RkDefaultHttpRequestHandler::handleRequest(RkHttpRequest& request, RkBStream& stream) {
    const RkStaticFile file = Find(request.getRequestedFilename());
    if (file.IsRegular()) {
        request.setAnswer(200, file.GetSize());
        SendFile(file, stream);
    } else {
        request.setAnswer(404, NOT_FOUND_PAGE.size());
        SendNotFound(stream);
    }
}

/// @return what is to be sent for a file name; nothing when there is nothing or it lies outside the root
RkStaticFile RkDefaultHttpRequestHandler::Find(const std::string& filename) const {
    const std::string joined = m_serverRootPath + filename;
    RkStaticFile file = OpenBelowRoot(joined);
    const std::string path = WithoutPlatformPrefixes(joined);
    if (path != joined && file.Exists())
        file = RkStaticFile(path);
    return file.IsDirectory() ? OpenIndexPage(path) : std::move(file);
}

/// @return nothing when it lies outside the root
RkStaticFile RkDefaultHttpRequestHandler::OpenBelowRoot(const std::string& path) const {
    // A path without links and steps up is where it seems to be: that spares asking the system where it is.
    if (m_isRootCanonical && path.find("..") == path.npos) {
        RkStaticFile file = RkStaticFile::OpenWithoutLinks(path);
        if (file.GetError() == 0 || file.GetError() == ENOENT)
            return file;
    }
    RkStaticFile file(path);
    return IsBelowRoot(file.GetCanonicalPath()) ? std::move(file) : RkStaticFile();
}

// A comparison of texts, as ever: a root "/srv/www" lets "/srv/www2" through (test SiblingWithTheRootsNameInFrontIsServed).
bool RkDefaultHttpRequestHandler::IsBelowRoot(const std::string& canonical) const {
    return !canonical.empty() && canonical.starts_with(m_serverRootCanonicalPath);
}

bool RkDefaultHttpRequestHandler::shouldHandleRequest(const std::string& /*filename*/) { return true; }

void RkDefaultHttpRequestHandler::getMimeType(const std::string& extension, std::string& mimeType) {
    const auto found = s_mimeTypeMap.find(extension);
    mimeType = found == s_mimeTypeMap.end() ? std::string() : found->second;
}

void RkDefaultHttpRequestHandler::sendFile(const RkPath& path, RkBStream& stream) {
    const RkStaticFile file(path);
    if (file.Exists() && !file.IsRegular())
        return SendNotFound(stream);
    SendFile(file, stream);
    if (const RkTcpSocket* const socket = PlainSocket(stream))
        SetFullPacketsOnly(*socket, false);  // after a request the connection ends, but this one may go on
}
