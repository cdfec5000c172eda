#include "EchoPage.h"

#include "Base/RkBStream.h"
#include "ServeRequest.h"

void EchoPage::handleRequest(RkHttpRequest& request, RkBStream& stream) {
    // nosniff: what a stranger sent must not be taken for a page of ours.
    stream << "HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\nX-Content-Type-Options: nosniff\r\n\r\n";
    stream << "method: " << request.getMethod() << "\nfile: " << request.getRequestedFilename() << '\n';
    for (const RkCgi::valueType_t& parameter : request.getCgi().getParameters())
        stream << "parameter " << parameter.name << ": " << parameter.value << '\n';
    stream << "body: " << static_cast<ServeRequest&>(request).GetBody() << '\n';
}
