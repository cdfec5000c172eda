#include "Network/HTTP/RkHttpServer.h"

#include <netinet/in.h>

#include "Base/RkWString.h"
#include "Network/HTTP/RkHttpRequest.h"

RkHttpServer::RkHttpServer(RkInetAddress& inetAddr, RkTcpSocketFactory* pSockFactory, const std::string& rootPath,
                           unsigned int timeout)
    : RkHttpServer(NotStarted(), inetAddr, pSockFactory, rootPath, timeout) {
    Start();
}

RkHttpServer::RkHttpServer(unsigned short port, const std::string& rootPath, unsigned int timeout)
    : RkHttpServer(NotStarted(), RkInetAddress(RkUInt32{INADDR_ANY}, port), nullptr, rootPath, timeout) {
    Start();
}

RkHttpServer::RkHttpServer(NotStarted, const RkInetAddress& inetAddr, RkTcpSocketFactory* pSockFactory,
                           const std::string& rootPath, unsigned int timeout)
    : RkTcpServer(inetAddr, 0, pSockFactory, 0), m_map(rootPath), m_timeout(timeout) {}

// Requests use the map until the last pool thread is through, also when one of them has stopped the server.
RkHttpServer::~RkHttpServer() { StopAndJoin(); }

RkTcpConnection* RkHttpServer::CreateConnection(RkTcpSocket* socket) {
    return new RkHttpRequest(socket, m_map, nullptr, m_timeout);
}

void RkHttpServer::addHandler(const std::string& filename, RkHttpRequestHandler* handler) {
    m_map.addHandler(filename, handler);
}

void RkHttpServer::addHandler(const std::wstring& filename, RkHttpRequestHandler* handler) {
    m_map.addHandler(RkWString(filename.c_str()).makeString(), handler);
}
