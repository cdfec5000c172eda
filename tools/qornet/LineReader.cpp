#include "LineReader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "Commands.h"

LineReader::LineReader(std::FILE* file) : m_file(file), m_buffer(LONGEST) {}

bool LineReader::Next(std::string_view& line) {
    std::size_t end = m_rest.find('\n');
    while (end == m_rest.npos) {
        const std::size_t known = m_rest.size();
        if (known == LONGEST)
            return TakeTooLong(line);
        if (!Refill()) {
            Take(known, line);
            return known > 0;
        }
        end = m_rest.find('\n', known);
    }
    Take(end + 1, line);
    return true;
}

/// Moves the rest to the front and reads more behind it. @return false at the end
bool LineReader::Refill() {
    std::copy(m_rest.begin(), m_rest.end(), m_buffer.begin());
    const std::size_t came = std::fread(m_buffer.data() + m_rest.size(), 1, LONGEST - m_rest.size(), m_file);
    if (std::ferror(m_file))
        throw CommandFailed(std::string("cannot read: ") + std::strerror(errno));
    m_rest = std::string_view(m_buffer.data(), m_rest.size() + came);
    return came > 0;
}

void LineReader::Take(std::size_t length, std::string_view& line) {
    line = m_rest.substr(0, length);
    m_rest.remove_prefix(length);
    m_position += length;
    if (line.ends_with('\n'))
        line.remove_suffix(1);
    if (line.ends_with('\r'))
        line.remove_suffix(1);
}

/// Skips a line that fills the buffer and goes on.
bool LineReader::TakeTooLong(std::string_view& line) {
    std::string_view part;
    std::size_t end = m_rest.npos;
    do {
        Take(m_rest.size(), part);
        if (!Refill())
            break;
        end = m_rest.find('\n');
    } while (end == m_rest.npos);
    Take(end == m_rest.npos ? m_rest.size() : end + 1, part);
    line = std::string_view();
    return true;
}
