#pragma once

#include "Base/RkException.h"
#include "Network/QorNetworkExport.h"

/// What a connection pool, or a connection that is configured for one, could not do.
class QOR_NETWORK_EXPORT RkBasicConnectionException : public RkException {
public:
    explicit RkBasicConnectionException(const std::string& message);
    ~RkBasicConnectionException() override;
};
