#pragma once

#include <string>
#include <string_view>

/// @return `text` for use between tags and inside quoted attributes
std::string EscapeHtml(std::string_view text);
