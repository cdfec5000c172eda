#include "Network/Url/RkPathCleaner.h"

#include <algorithm>
#include <cstring>

#include "Network/Url/RkUrlText.h"

void RkPathCleaner::Clean(std::string& filename) {
    const std::size_t pathSize = std::min(RkUrlText::Find(filename, '?'), filename.size());
    const std::string_view path(filename.data(), pathSize);
    const std::string_view searched = RkUrlText::Searched(filename).substr(0, pathSize);
    const bool endsInSlash = path.ends_with('/');
    RkPathCleaner cleaner(filename.data());
    for (std::size_t at = 0; at <= pathSize;) {
        const std::size_t end = std::min(searched.find('/', at), pathSize);
        cleaner.Add(path.substr(at, end - at));
        at = end + 1;
    }
    if (endsInSlash)
        cleaner.AppendSlash();
    filename.erase(cleaner.m_size, pathSize - cleaner.m_size);
}

void RkPathCleaner::Add(std::string_view segment) {
    if (segment.empty() || segment == ".")
        return;
    if (segment == ".." && CanGoUp())
        DropLast();
    else
        Append(segment);
}

bool RkPathCleaner::CanGoUp() const {
    const std::string_view kept(m_text, m_size);
    return !kept.empty() && kept != ".." && !kept.ends_with("/..");
}

void RkPathCleaner::DropLast() {
    const std::size_t slash = RkUrlText::FindLast({m_text, m_size}, '/');
    m_size = slash == std::string::npos ? 0 : slash;
}

void RkPathCleaner::Append(std::string_view segment) {
    if (m_size > 0)
        m_text[m_size++] = '/';
    if (m_text + m_size != segment.data())
        std::memmove(m_text + m_size, segment.data(), segment.size());
    m_size += segment.size();
}

// A segment that a NUL keeps together may end in a "/" of its own: there is none added, nor room for it.
void RkPathCleaner::AppendSlash() {
    if (m_size > 0 && m_text[m_size - 1] != '/')
        m_text[m_size++] = '/';
}
