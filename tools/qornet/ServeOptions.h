#pragma once

#include <string>

#include "Base/RkTypes.h"
#include "Diag/RkLevel.h"

/// What `qornet serve` was told.
struct ServeOptions {
    std::string address = "127.0.0.1";
    RkUInt16 port = 8080;
    std::string root = ".";
    unsigned timeout = 60;   ///< seconds that a client may be silent before its request; 0 is no limit
    double maxHeadTime = 0;  ///< seconds from the accept to the end of the head; 0 is no limit
    unsigned maxPeer = 0;    ///< connections of one peer; 0 is no limit
    double drain = 1;        ///< seconds that running answers get at the end
    std::string certFile;    ///< PEM; empty: plain HTTP
    std::string keyFile;     ///< PEM; empty exactly if certFile is
    std::string accessLog;   ///< file; empty: none
    std::string portFile;    ///< empty: none
    kstr::diag::RkLevel log = kstr::diag::LV_WARN;
};
