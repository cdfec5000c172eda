#include "Network/Network/RkSSLTimeoutSocket.h"

RkSSLTimeoutSocket::RkSSLTimeoutSocket(const RkTimePeriod& connectTimeout, const RkTimePeriod& readTimeout,
                                       const RkTimePeriod& writeTimeout)
    : m_connectTimeout(connectTimeout), m_readTimeout(readTimeout), m_writeTimeout(writeTimeout) {}

RkSSLTimeoutSocket::RkSSLTimeoutSocket(const std::string& keyFile, const std::string& certFile,
                                       const RkTimePeriod& connectTimeout, const RkTimePeriod& readTimeout,
                                       const RkTimePeriod& writeTimeout)
    : RkSSLSocket(keyFile, certFile, true),
      m_connectTimeout(connectTimeout),
      m_readTimeout(readTimeout),
      m_writeTimeout(writeTimeout) {}

RkSSLTimeoutSocket::RkSSLTimeoutSocket(const RkInetAddress& addr, const RkTimePeriod& connectTimeout,
                                       const RkTimePeriod& readTimeout, const RkTimePeriod& writeTimeout, bool flag)
    : RkSSLSocket(addr, flag),
      m_connectTimeout(connectTimeout),
      m_readTimeout(readTimeout),
      m_writeTimeout(writeTimeout) {}

RkSSLTimeoutSocket::~RkSSLTimeoutSocket() = default;

ssize_t RkSSLTimeoutSocket::Read(char* buf, size_t len) { return RkSSLSocket::Read(buf, len, m_readTimeout); }

ssize_t RkSSLTimeoutSocket::Write(const char* buf, size_t len) { return RkSSLSocket::Write(buf, len, m_writeTimeout); }

void RkSSLTimeoutSocket::Close() { RkSocket::Close(); }

void RkSSLTimeoutSocket::Connect(const RkInetAddress& addr) { RkSSLSocket::Connect(addr); }
