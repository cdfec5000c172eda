#include "Network/Network/RkNetworkException.h"

#include <cerrno>

RkNetworkException::RkNetworkException(const std::string& msg) : RkNetworkException(msg, errno) {}

RkNetworkException::RkNetworkException(const std::string& msg, int osErrno) : RkException(msg), m_osErrno(osErrno) {}

RkNetworkException::RkNetworkException(const RkNetworkException&) = default;

RkNetworkException& RkNetworkException::operator=(const RkNetworkException&) = default;

RkNetworkException::~RkNetworkException() = default;
