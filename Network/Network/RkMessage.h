/// How the network classes word their failures; for the library's own use.
///
/// Every text ends with one NUL, which is part of the string: callers compare and log it as it is.
#pragma once

#include <string>
#include <string_view>

/// @return `text`, then `detail`, then the NUL
std::string RkMessage(std::string_view text, std::string_view detail);

/// @return `text`, then `number` in decimal, then the NUL
std::string RkMessage(std::string_view text, int number);

/// Throws an RkNetworkException with `text` and errno, which is read before anything can change it.
[[noreturn]] void RkThrowErrno(std::string_view text);
