#pragma once

#include <map>
#include <string>
#include <vector>

#include "Base/RkCriticalSection.h"
#include "Base/RkSmartPointer.h"
#include "Network/HTTP/RkDefaultHttpRequestHandler.h"
#include "Network/HTTP/RkHttpRequestHandler.h"
#include "Network/QorNetworkExport.h"

class RkHttpRequest;

/// The request handlers of a server by file name, and a default handler that serves files for all other names.
///
/// Safe from any thread, save for enumerateFilenames. Owns its handlers: one is deleted when it is replaced or removed, or
/// with the map, but not before the answers are complete that it works on.
class QOR_NETWORK_EXPORT RkHttpRequestMap {
public:
    /// @param root  document root of the default handler
    explicit RkHttpRequestMap(const std::string& root);
    RkHttpRequestMap(const RkHttpRequestMap&) = delete;
    RkHttpRequestMap& operator=(const RkHttpRequestMap&) = delete;
    virtual ~RkHttpRequestMap();

    /// @param filename  the decoded file name of a request, exactly: with its leading slash, and in its case
    /// @param handler   made with new, owned by the map from here on; replaces the one of that name. Null: the default
    ///                  handler answers.
    virtual void addHandler(std::string filename, RkHttpRequestHandler* handler);

    /// @return the registered names in ascending byte order. Takes no lock: not while other threads add or remove.
    virtual std::vector<std::string> enumerateFilenames() const;

    /// @return the handler of exactly that name, or null; never the default handler. Borrowed: valid until it is replaced or
    ///         removed.
    virtual RkHttpRequestHandler* getHandler(const std::string& filename) const;

    /// @return whether there was one
    virtual bool removeHandler(const std::string& filename);

    /// Lets the handler of `filename` answer, or else the default handler, and tells the request what was answered.
    ///
    /// What a registered handler writes is kept until it returns and then sent with a Content-Length field behind its status
    /// line, even if it wrote one itself. Output without an empty line is sent as it is. The default handler writes straight
    /// to `stream`. No lock is held while a handler runs. An exception of the handler or the stream leaves this.
    virtual void dispatchRequest(std::string filename, RkHttpRequest& request, RkBStream& stream) const;

private:
    using handlerPtr_t = RkSmartPointer<RkHttpRequestHandler, DefaultReaper>;
    using handlerMap_t = std::map<const std::string, handlerPtr_t>;

    handlerPtr_t FindHandler(const std::string& filename) const;

    handlerMap_t m_handlerMap;
    mutable RkDefaultHttpRequestHandler m_defaultRequestHandler;
    mutable RkCriticalSection m_csection;  ///< guards m_handlerMap
};
