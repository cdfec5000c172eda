#include "Network/Network/RkBasicConnectionException.h"

RkBasicConnectionException::RkBasicConnectionException(const std::string& message) : RkException(message) {}

RkBasicConnectionException::~RkBasicConnectionException() = default;
