#pragma once

#include "Network/QorNetworkExport.h"

/// How large a descriptor set must be in this process: sets of the system's fixed size end at descriptor 1,023. Set once
/// while the library is loaded, only read afterwards.
class QOR_NETWORK_EXPORT RkMaxFdSetSize {
public:
    /// The descriptor limit of the process at load time, rounded up to a multiple of 32. Where the system names none it is
    /// 1,048,576, the kernel's own default ceiling.
    static int MaxFD;

    /// Bytes of one set that holds every descriptor below MaxFD.
    static int SetSize;
};
