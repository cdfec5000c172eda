#include "StatusText.h"

#include <sstream>

#include "Base/RkBStream.h"
#include "ServeServer.h"

void StatusText::handleRequest(RkHttpRequest&, RkBStream& stream) {
    std::ostringstream text;
    m_server.PrintSelf(text, static_cast<PrintSelfLevel>(3));
    stream << "HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\nCache-Control: no-store\r\n\r\n" << text.str();
}
