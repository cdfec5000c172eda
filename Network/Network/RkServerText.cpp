#include "Network/Network/RkServerText.h"

#include <string>

#include "Base/RkThreadPool.h"
#include "Base/RkTimeAndDate.h"
#include "Network/Network/RkInetAddress.h"

void RkPrintServerBanner(std::ostream& stream, const char* name, PrintSelfLevel level) {
    const std::string rule = std::string(70, '-') + "\r\n";
    stream << rule << name << " - PrintSelf - Level: " << static_cast<int>(level) << "\r\n"
           << "Time: " << RkTimeAndDate::Now() << "\r\n"
           << rule << "\r\n";
}

void RkPrintServerState(std::ostream& stream, const RkInetAddress& local, const char* state, const RkThreadPool& pool) {
    // As texts: a stream of another locale would write the numbers in groups of digits.
    const RkUInt32 ip = local.GetIpAddress(false);
    stream << "address: " << (ip >> 24) << "." << (ip >> 16 & 0xff) << "." << (ip >> 8 & 0xff) << "." << (ip & 0xff)
           << ":" << std::to_string(local.GetPort()) << " state - " << state << "\r\n\r\n"
           << "total threads: " << std::to_string(pool.GetTotal()) << "\r\n"
           << "idle threads: " << std::to_string(pool.GetIdle()) << "\r\n";
}
