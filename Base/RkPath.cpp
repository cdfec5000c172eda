#include "Base/RkPath.h"

#include <algorithm>
#include <string_view>

RkPath::RkPath(const std::string& text) : m_text(text) {}
RkPath::RkPath(const char* text) : m_text(text) {}

RkPath RkPath::operator+(const std::string& part) const {
    if (m_text.empty())
        return part;
    const std::string_view left = std::string_view(m_text).substr(0, m_text.find_last_not_of('/') + 1);
    const std::string_view right = std::string_view(part).substr(std::min(part.find_first_not_of('/'), part.size()));
    std::string joined;
    joined.reserve(left.size() + 1 + right.size());
    return joined.append(left).append(1, '/').append(right);
}

RkPath& RkPath::operator+=(const std::string& part) { return *this = *this + part; }

std::string RkPath::GetExtension() const {
    const size_t last = m_text.find_last_of("./");
    return last == m_text.npos || m_text[last] == '/' ? std::string() : m_text.substr(last + 1);
}
