#pragma once

#include <gtest/gtest.h>
#include <openssl/err.h>

#include <algorithm>
#include <string>

#include "Network/Network/RkNetworkException.h"

/// The whole message of the failure that an action ends in, a NUL in it shown as "|"; empty when it does not fail. In neither
/// case may OpenSSL's queue hold an error for the next who looks.
template <class Exception = RkNetworkException, class Action>
std::string MessageOf(const Action& action) {
    std::string message;
    try {
        action();
    } catch (const Exception& e) {
        message = e.GetMessage();
    }
    EXPECT_EQ(ERR_peek_error(), 0u);
    std::replace(message.begin(), message.end(), '\0', '|');
    return message;
}

/// The message, without its NUL, of the failed system call that an action ends in. It has to end with the call's errno.
template <class Action>
std::string FailureOf(const Action& action) {
    try {
        action();
    } catch (const RkNetworkException& e) {
        const std::string message = e.what();
        EXPECT_EQ(e.GetMessage(), message + '\0');
        EXPECT_TRUE(message.ends_with(' ' + std::to_string(e.GetOsErrno()))) << message << ", not " << e.GetOsErrno();
        return message;
    }
    return "no failure";
}
