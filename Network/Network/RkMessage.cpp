#include "Network/Network/RkMessage.h"

#include <cerrno>

#include "Network/Network/RkNetworkException.h"

std::string RkMessage(std::string_view text, std::string_view detail) {
    std::string message;
    message.reserve(text.size() + detail.size() + 1);
    message.append(text).append(detail).push_back('\0');
    return message;
}

std::string RkMessage(std::string_view text, int number) { return RkMessage(text, std::to_string(number)); }

void RkThrowErrno(std::string_view text) {
    const int error = errno;
    throw RkNetworkException(RkMessage(text, error), error);
}
