#include "Network/HTTP/RkHttpRequest.h"

#include <sys/socket.h>

#include <chrono>
#include <locale>
#include <sstream>
#include <typeinfo>

#include "Base/RkBStreamTrace.h"
#include "Base/RkDeadline.h"
#include "Base/RkIO.h"
#include "Base/RkOS.h"
#include "Base/RkSwallow.h"
#include "Network/Network/RkNetworkException.h"
#include "Network/Network/RkSocketWait.h"

namespace {

/// So long a peer that sends more than is read may take to see the answer; twice as long, if it sends all the time.
const RkTimePeriod LINGER(0, 0, 0, 1);

}  // namespace

RkHttpRequest::RkHttpRequest(RkTcpSocket* sock, RkHttpRequestMap& requestMap, RkTrace* pTrace, unsigned int timeout)
    : m_socket(sock), m_requestMap(requestMap), m_pTrace(pTrace), m_timeout(timeout) {}

RkHttpRequest::~RkHttpRequest() {
    LeaveServer();
    CloseSocket();
}

void RkHttpRequest::Run() {
    if (m_begun.exchange(true))
        return;
    if (m_pTrace) {
        RkBStreamTrace stream(*m_socket, *m_pTrace);
        Serve(stream);
    } else {
        RkBStream stream(*m_socket);
        Serve(stream);
    }
}

void RkHttpRequest::Serve(RkBStream& stream) {
    SwallowingSilently([&] { Exchange(stream); });
    SwallowingSilently([&] { m_socket->Close(); });
}

void RkHttpRequest::Exchange(RkBStream& stream) {
    m_socket->AcceptSocket();
    if (!WaitForFirstBytes(stream)) {
        trace("RkHttpRequest: idle connection closed");
        return m_socket->CloseForce();
    }
    bool allRead = ReadHead(stream);
    if (getMethod() == "POST")
        allRead &= ReadForm(stream);
    if (m_stopping)
        return;
    m_requestMap.dispatchRequest(getRequestedFilename(), *this, stream);
    if (m_socket->IsOpen())
        stream.Flush();
    if (!allRead)
        AwaitPeersEnd();
}

/// @return false when the idle time is over
bool RkHttpRequest::WaitForFirstBytes(RkBStream& stream) {
    if (m_timeout == 0 || TakeFirstBytes(stream))
        return true;
    const RkTimePeriod idle = RkTimePeriod::FromMicroSeconds(std::int64_t{m_timeout} * 1000000);
    return RkSocketWait::For(m_socket->GetHandle(), RkSocketWait::READABLE, idle) != 0;
}

/// Takes what is there. It is for most requests when a thread takes up their connection, and that spares the wait.
bool RkHttpRequest::TakeFirstBytes(RkBStream& stream) {
    const RkTcpSocket& socket = *m_socket;
    if (typeid(socket) != typeid(RkTcpSocket))  // others receive in ways of their own
        return false;
    char data[RkBStream::BUFFER_SIZE];
    const ssize_t count = RkIO::Recv(socket.GetHandle(), data, sizeof data, MSG_DONTWAIT);
    if (count > 0)
        stream.Prime(data, static_cast<size_t>(count));
    return count > 0;
}

/// Reads the head and parses it line by line, as far as it comes. @return whether its end came
bool RkHttpRequest::ReadHead(RkBStream& stream) {
    HeadSize size;
    std::string line;
    for (bool isFirst = true; m_socket->IsOpen() && ReadHeadLine(stream, line) && size.Add(line); isFirst = false) {
        if (line.empty())
            return true;
        TakeHeadLine(line, isFirst);
    }
    return false;
}

/// @return whether the whole body was read
bool RkHttpRequest::ReadForm(RkBStream& stream) {
    const int length = getIntValueForName("content-length");
    return getCgi().parseData(stream, length) || length == 0;
}

// Closing a socket with unread input resets the connection, which may take the answer from the peer: so one that was not
// read to the end gets a moment to see the answer and hang up.
void RkHttpRequest::AwaitPeersEnd() {
    const auto deadline = DeadlineAfter(LINGER);
    char dropped[4096];
    m_socket->ShutdownSocket();
    while (!m_stopping && std::chrono::steady_clock::now() < deadline &&
           m_socket->Read(dropped, sizeof dropped, LINGER) > 0) {}
}

// Before Run the socket is nobody's, so that it can be closed here. Once Run has begun, only the thread that runs it knows
// when the descriptor is out of use.
void RkHttpRequest::Stop() {
    if (!m_begun.exchange(true))
        return CloseSocket();
    m_stopping = true;
    m_socket->Wake();
}

void RkHttpRequest::CloseSocket() {
    try {
        m_socket->Close();
    } catch (const RkNetworkException&) {
        // there is nobody to tell
    }
}

const RkInetAddress RkHttpRequest::getRemoteAddresss() const {
    try {
        return m_socket->GetRemoteAddress();
    } catch (const RkNetworkException&) {
        return {};
    }
}

void RkHttpRequest::trace(const std::string& message) {
    if (m_pTrace == nullptr || !m_pTrace->IsEnabled())
        return;
    std::ostringstream record;
    record.imbue(std::locale::classic());
    record << "Module: " << message << "\nThread ID: " << RkOS::CurrentThread() << "\nHTTP METHOD: " << getMethod()
           << "\nRequested File: " << getRequestedFilename()
           << "\nCGI Data: " << getCgi().createCgiString(true, false, true, true) << '\n';
    m_pTrace->Write(record.str());
}

void RkHttpRequest::setAnswer(int status, RkUInt64 bodyBytes) {
    m_answerBytes = bodyBytes;
    m_answerStatus = status;
}

int RkHttpRequest::getAnswerStatus() const { return m_answerStatus; }
RkUInt64 RkHttpRequest::getAnswerBytes() const { return m_answerBytes; }
