#pragma once

#include "Base/RkBStream.h"
#include "Network/QorNetworkExport.h"

class RkHttpRequest;

/// Answers requests for one file name. Implemented by callers; owned by the RkHttpRequestMap that it is registered with.
///
/// Called by many pool threads at once. It may still run when it was removed from the map: it is deleted when the last
/// answer is complete.
class QOR_NETWORK_EXPORT RkHttpRequestHandler {
public:
    virtual ~RkHttpRequestHandler();

    /// Writes the answer: a status line, header fields, an empty line and the body. A Content-Length field is put behind the
    /// status line on the way out, so the handler writes none. Nothing reaches the client before the handler returns. An
    /// exception ends the connection without an answer.
    virtual void handleRequest(RkHttpRequest& request, RkBStream& stream);
};
