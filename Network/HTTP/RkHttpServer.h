#pragma once

#include <string>

#include "Network/HTTP/RkHttpRequestMap.h"
#include "Network/Network/RkTcpServer.h"

/// An HTTP/1.0 server: each accepted connection is one RkHttpRequest, answered by a registered handler or from a document
/// root. With a factory of TLS sockets it is an HTTPS server.
///
/// The public constructors start the server's thread, so a request may come before the first addHandler: it is answered
/// from the document root. When the port cannot be bound the thread ends (RkTcpServer::Run tells why), and the object is
/// good for destruction only; bind first, with the protected constructor, to be told.
///
/// Safe from any thread but for construction and destruction.
class QOR_NETWORK_EXPORT RkHttpServer : public RkTcpServer {
public:
    /// @param inetAddr      where to listen; port 0 lets the system choose
    /// @param pSockFactory  makes the socket of each connection, with new; owned by the server from here on. Null: plain TCP
    /// @param rootPath      document root, best with a trailing slash: see RkDefaultHttpRequestHandler
    /// @param timeout       seconds that each connection may stay silent at its start; 0: without limit
    RkHttpServer(RkInetAddress& inetAddr, RkTcpSocketFactory* pSockFactory, const std::string& rootPath,
                 unsigned int timeout);

    /// The same with plain TCP on the any-address. @param port  in host byte order
    RkHttpServer(unsigned short port, const std::string& rootPath, unsigned int timeout);

    /// Stops the server and waits for the requests that are being answered, which are told to stop.
    ~RkHttpServer() override;

    /// Wraps the socket in an RkHttpRequest. An override makes a subclass of it, with GetRequestMap and GetIdleTimeout.
    RkTcpConnection* CreateConnection(RkTcpSocket* socket) override;

    /// @param filename  the decoded file name of requests, exactly: see RkHttpRequestMap::addHandler
    /// @param handler   made with new; owned by the server from here on
    void addHandler(const std::string& filename, RkHttpRequestHandler* handler);

    /// The same for a wide name, registered in UTF-8.
    void addHandler(const std::wstring& filename, RkHttpRequestHandler* handler);

protected:
    /// Tells the constructor for subclasses from the public ones.
    struct NotStarted {};

    /// For subclasses that override what the server's thread calls: does not start it. The subclass calls Start at the end of
    /// its own constructor, or lets its caller do so; and StopAndJoin at the start of its destructor.
    RkHttpServer(NotStarted, const RkInetAddress& inetAddr, RkTcpSocketFactory* pSockFactory,
                 const std::string& rootPath, unsigned int timeout);

    /// What every request of this server is dispatched by.
    RkHttpRequestMap& GetRequestMap() { return m_map; }
    unsigned int GetIdleTimeout() const { return m_timeout; }  ///< seconds; 0: without limit

private:
    RkHttpRequestMap m_map;
    const unsigned int m_timeout;  ///< seconds
};
