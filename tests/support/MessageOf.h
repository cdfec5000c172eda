#pragma once

#include <gtest/gtest.h>

#include <string>

#include "Network/Network/RkNetworkException.h"

/// The whole message of the failure that an action ends in, with the NUL at its end where it has one.
template <class Exception = RkNetworkException, class Action>
std::string MessageOf(Action action) {
    try {
        action();
    } catch (const Exception& e) {
        return e.GetMessage();
    }
    return "no failure";
}

/// The message, without its NUL, of the failed system call that an action ends in. It has to end with the call's errno.
template <class Action>
std::string FailureOf(Action action) {
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
