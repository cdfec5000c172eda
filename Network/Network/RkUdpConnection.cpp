#include "Network/Network/RkUdpConnection.h"

#include <sstream>
#include <utility>

#include "Network/Network/RkUdpCriticalSection.h"
#include "Network/Network/RkUdpServer.h"

// Only the end of the empty text is written: to clear the whole buffer for each datagram would be work for nothing.
RkUdpConnection::RkUdpConnection() { m_buffer[0] = '\0'; }

RkUdpConnection::~RkUdpConnection() { LeaveServer(); }

void RkUdpConnection::Read(RkUdpSocket& socket) {
    m_socket = &socket;
    const ssize_t count = RkUdpCriticalSection::Itself().RecvFrom(socket, m_address, m_buffer, sizeof m_buffer - 1);
    m_bufferLength = count < 0 ? 0 : static_cast<size_t>(count);
    m_buffer[m_bufferLength] = '\0';
}

void RkUdpConnection::Send(const char* data, size_t length) {
    RkUdpCriticalSection::Itself().SendTo(*m_socket, m_address, data, length);
}

void RkUdpConnection::HandleInspection(kstr::diag::RkInspector& inspector) {
    std::ostringstream text;
    PrintSelf(text, RK_PRINT_ALL);
    inspector.reportMultiLineValue("TARNUdpConnection", text.str());
}

void RkUdpConnection::PrintSelf(std::ostream&, PrintSelfLevel) {}

void RkUdpConnection::SetServer(RkUdpServer* server) { m_server = server; }

void RkUdpConnection::LeaveServer() {
    if (RkUdpServer* server = std::exchange(m_server, nullptr))
        server->CloseConnection(this);
}
