#include "Network/HTTP/RkStaticFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "Base/RkException.h"
#include "Base/RkFileSystem.h"

RkStaticFile::RkStaticFile(const RkPath& path) : m_path(path) {
    const std::string& text = path.GetText();
    if (text.find('\0') != text.npos) {
        m_error = EINVAL;
        return;
    }
    m_handle = ::open(text.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    m_error = m_handle == -1 ? errno : 0;
    const int known = m_handle == -1 ? ::stat(text.c_str(), &m_status) : ::fstat(m_handle, &m_status);
    if (known == -1)
        m_status = {};
}

RkStaticFile::RkStaticFile(RkStaticFile&& other) noexcept { *this = std::move(other); }

RkStaticFile& RkStaticFile::operator=(RkStaticFile&& other) noexcept {
    std::swap(m_path, other.m_path);
    std::swap(m_handle, other.m_handle);
    std::swap(m_error, other.m_error);
    std::swap(m_status, other.m_status);
    return *this;
}

RkStaticFile::~RkStaticFile() {
    if (m_handle != -1)
        ::close(m_handle);
}

std::string RkStaticFile::GetCanonicalPath() const {
    std::string path = m_handle == -1 ? std::string() : RkFileSystem::GetPathOfHandle(m_handle);
    return path.empty() ? RkFileSystem::GetCanonicalPath(m_path.GetText()) : path;
}

void RkStaticFile::RequireOpen() const {
    if (m_handle == -1)
        throw RkException("Cannot open '" + m_path.GetText() + "': " + std::generic_category().message(m_error));
}

ssize_t RkStaticFile::Read(char* data, size_t count) const {
    ssize_t came;
    do
        came = ::read(m_handle, data, count);
    while (came == -1 && errno == EINTR);
    return came;
}
