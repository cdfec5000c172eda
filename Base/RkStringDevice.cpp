#include "Base/RkStringDevice.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

RkStringDevice::RkStringDevice(std::string& text) : m_text(text) {}

ssize_t RkStringDevice::Read(char* data, size_t count) {
    if (m_position >= m_text.size())
        return 0;
    const size_t taken = m_text.copy(data, count, m_position);
    m_position += taken;
    return static_cast<ssize_t>(taken);
}

ssize_t RkStringDevice::Write(const char* data, size_t count) {
    m_text.append(data, count);
    return static_cast<ssize_t>(count);
}

bool RkStringDevice::Flush() { return true; }
void RkStringDevice::Close() {}

long RkStringDevice::Seek(long offset, int whence) {
    const size_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? m_position : m_text.size();
    long position;
    if (__builtin_add_overflow(static_cast<long>(base), offset, &position) || position < 0) {
        errno = EINVAL;
        return -1;
    }
    m_position = static_cast<size_t>(position);
    return position;
}

long RkStringDevice::Tell() { return static_cast<long>(m_position); }
