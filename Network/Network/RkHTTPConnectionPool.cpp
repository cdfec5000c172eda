#include "Network/Network/RkHTTPConnectionPool.h"

#include <curl/curl.h>

#include "Network/Network/RkBasicConnectionException.h"

RkHTTPConnectionPool::RkHTTPConnectionPool(unsigned int minConnections, unsigned int maxConnections)
    : RkBasicConnectionPool(minConnections, maxConnections) {}

RkHTTPConnectionPool::~RkHTTPConnectionPool() {
    curl_slist_free_all(m_headerList);
    m_headerList = nullptr;
}

RkBasicConnection* RkHTTPConnectionPool::CreateConnection() { return new RkHTTPConnection(m_headerList); }

void RkHTTPConnectionPool::AddHeader(const char* header) {
    curl_slist* longer = curl_slist_append(m_headerList, header);
    if (!longer)
        throw RkBasicConnectionException("No memory for the header");
    m_headerList = longer;
}
