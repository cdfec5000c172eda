#include "Network/Network/RkTcpConnection.h"

#include <sstream>

#include "Diag/RkInspector.h"
#include "Network/Network/RkTcpServer.h"

RkTcpConnection::RkTcpConnection() = default;
RkTcpConnection::~RkTcpConnection() { LeaveServer(); }

void RkTcpConnection::HandleInspection(kstr::diag::RkInspector& inspector) {
    std::ostringstream text;
    PrintSelf(text, RK_PRINT_ALL);
    inspector.reportMultiLineValue("TARNTcpConnection", text.str());
}

void RkTcpConnection::PrintSelf(std::ostream& /*stream*/, PrintSelfLevel /*level*/) {}

void RkTcpConnection::SetServer(RkTcpServer* server) { m_server = server; }

void RkTcpConnection::LeaveServer() {
    if (RkTcpServer* const server = m_server.exchange(nullptr))
        server->CloseConnection(this);
}
