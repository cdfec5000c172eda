#pragma once

#include <gtest/gtest.h>
#include <openssl/err.h>

#include <algorithm>
#include <functional>
#include <string>

#include "Base/RkException.h"

/// @return the whole text of the exception that `action` throws, its ending NUL shown as "|"; empty if none comes. In neither
///         case may OpenSSL's queue hold an error for the next who looks.
inline std::string WhyNot(const std::function<void()>& action) {
    std::string text;
    try {
        action();
    } catch (const RkException& e) {
        text = e.GetMessage();
    }
    EXPECT_EQ(ERR_peek_error(), 0u);
    std::replace(text.begin(), text.end(), '\0', '|');
    return text;
}
