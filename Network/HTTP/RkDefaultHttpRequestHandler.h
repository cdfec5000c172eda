#pragma once

#include <map>
#include <string>

#include "Base/RkPath.h"
#include "Network/HTTP/RkHttpRequestHandler.h"

class RkStaticFile;

/// Serves files below a document root, a directory by its "index.html" or else "index.htm". Everything else gets one fixed
/// 404 page: what does not exist, what leads out of the root through a link, and what is no regular file (a FIFO, a device
/// or a socket is never read).
///
/// Has no state for a request; many threads call it at once. Nothing is cached: a file that was changed is served changed.
class QOR_NETWORK_EXPORT RkDefaultHttpRequestHandler : public RkHttpRequestHandler {
public:
    /// @param serverRootPath  the document root. Root and file name are joined as they are and then compared, as text, with
    ///                        the root's canonical path: a root without trailing slash also lets "/srv/www2/x" through to
    ///                        links that lead there from below "/srv/www". A root that does not exist now restrains nothing.
    explicit RkDefaultHttpRequestHandler(const std::string& serverRootPath);
    ~RkDefaultHttpRequestHandler() override;

    /// Answers one request, HEAD with the file's bytes too. A failure to read or to send is told on standard output and cuts
    /// the answer short; no RkException leaves this.
    void handleRequest(RkHttpRequest& request, RkBStream& stream) override;

    virtual bool shouldHandleRequest(const std::string& filename);  ///< true

    /// @param extension  without the dot; only lower case is known
    /// @param[out] mimeType  empty when the extension is unknown. So it is for all of them until the first object is made.
    static void getMimeType(const std::string& extension, std::string& mimeType);

    /// Writes head and content of a file, without looking where it is; the 404 page when it exists and is not regular.
    /// Failures as with handleRequest. The Content-Length field holds 32 bits: the size of a file from 2 GiB on is wrong
    /// there, while all bytes are sent (kept; test HugeFileHasA32BitLength).
    void sendFile(const RkPath& path, RkBStream& stream);

private:
    RkStaticFile Find(const std::string& filename) const;
    RkStaticFile OpenBelowRoot(const std::string& path) const;
    bool IsBelowRoot(const std::string& canonical) const;

    std::string m_serverRootPath;
    std::string m_serverRootCanonicalPath;                    ///< as of construction
    static std::map<std::string, std::string> s_mimeTypeMap;  ///< filled by the first constructor, then only read
    bool m_isRootCanonical;                                   ///< the first is the second, but for a slash at its end
};
