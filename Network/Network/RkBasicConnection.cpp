#include "Network/Network/RkBasicConnection.h"

#include <new>
#include <utility>

#include "Network/Network/RkBasicConnectionException.h"
#include "Network/Network/RkInetAddress.h"
#include "Network/Network/RkNetworkException.h"
#include "Network/Network/RkTcpTimeoutSocket.h"
#include "Network/Network/RkUdpSocket.h"

RkBasicConnection::RkBasicConnection() = default;

RkBasicConnection::~RkBasicConnection() {
    try {
        RkBasicConnection::Close();
    } catch (...) {  // nobody is left to tell
    }
}

void RkBasicConnection::Close() {
    if (!m_socket)
        return;
    m_stream.reset();
    m_isConnected = false;
    const auto socket = std::move(m_socket);
    if (!socket->IsOpen())
        return;
    try {
        socket->Close();
    } catch (...) {
        throw RkNetworkException("Couldn't close the socket");
    }
}

void RkBasicConnection::Connect(unsigned short port, const std::string& hostname, const RkTimePeriod& time, int which) {
    if (m_socket || m_isConnected) {
        Receive(time);
        return;
    }
    const RkInetAddress server(hostname, port, false);
    if (which == TCP)
        ConnectTcp(server, time);
    else
        ConnectUdp(server);
    m_isConnected = true;
}

void RkBasicConnection::ConnectTcp(const RkInetAddress& server, const RkTimePeriod& time) {
    std::unique_ptr<RkTcpTimeoutSocket> socket(new (std::nothrow) RkTcpTimeoutSocket(time, time, time));
    if (!socket)
        throw RkNetworkException("Could not allocate socket");
    socket->Connect(server);
    try {
        socket->SetNagleEnabled(false);
        m_stream = std::make_unique<RkBStream>(*socket);
    } catch (...) {  // a socket's destructor does not close it
        socket->Close();
        throw;
    }
    m_socket = std::move(socket);
}

void RkBasicConnection::ConnectUdp(const RkInetAddress& server) {
    m_socket = std::make_unique<RkUdpSocket>(RkInetAddress(), server);
}

void RkBasicConnection::Send() {
    if (m_stream)
        m_stream->Flush();
}

void RkBasicConnection::Receive(const RkTimePeriod&) {
    if (m_stream)
        m_stream->Reset();
}

RkBStream& RkBasicConnection::GetStream() {
    if (!m_stream)
        throw RkBasicConnectionException("The connection has no stream");
    return *m_stream;
}

void RkBasicConnection::SetSocket(RkSocket* socket) {
    m_stream.reset();
    m_socket.reset(socket);
}
