#include "Network/Network/RkNetwork.h"

#include "Network/Network/RkAddressText.h"
#include "Network/Network/RkInetAddress.h"

RkNetwork::~RkNetwork() = default;

std::string& RkNetwork::InetNtoa(const RkInetAddress& addr, std::string& str) {
    char text[INET6_ADDRSTRLEN];
    const char* const end = RkAddressText::Format(addr.m_family, &addr.m_addr, text);
    return str.assign(text, static_cast<std::size_t>(end - text));
}

std::string RkNetwork::InetNtoa(const RkInetAddress& addr) {
    std::string str;
    return InetNtoa(addr, str);
}
