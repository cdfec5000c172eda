#pragma once

#include "Network/Network/RkBasicConnectionPool.h"
#include "Network/Network/RkHTTPConnection.h"
#include "Network/QorNetworkExport.h"

/// A pool of HTTP connections over libcurl that share a list of extra request headers. Owns the list. Threads as
/// RkBasicConnectionPool, save for AddHeader.
class QOR_NETWORK_EXPORT RkHTTPConnectionPool : public RkBasicConnectionPool {
public:
    /// Arguments as RkBasicConnectionPool.
    RkHTTPConnectionPool(unsigned int minConnections, unsigned int maxConnections);
    ~RkHTTPConnectionPool() override;

    /// @return a new RkHTTPConnection with the header list as it stands
    RkBasicConnection* CreateConnection() override;

    /// Appends one header line ("Name: value"). Connections made before the first header never send any; those made after
    /// it send all, later ones included. To be called before the pool is used by several threads.
    /// Throws RkBasicConnectionException when there is no memory for it.
    void AddHeader(const char* header);

private:
    curl_slist* m_headerList = nullptr;
};
