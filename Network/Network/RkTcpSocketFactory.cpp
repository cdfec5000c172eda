#include "Network/Network/RkTcpSocketFactory.h"

RkTcpSocketFactory::~RkTcpSocketFactory() = default;

RkTcpSocket* RkTcpSocketFactory::CreateSocket() { return new RkTcpSocket(); }
