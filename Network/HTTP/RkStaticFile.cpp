#include "Network/HTTP/RkStaticFile.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "Base/RkException.h"
#include "Base/RkFileSystem.h"

namespace {

constexpr int FLAGS = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

bool HasNul(const RkPath& path) { return path.GetText().find('\0') != std::string::npos; }

/// As open(2), or openat2(2), which an old kernel lacks.
/// @param resolve  as the latter takes it; 0: any path
int Open(const RkPath& path, RkUInt64 resolve) {
    const char* const text = path.GetText().c_str();
    if (HasNul(path)) {
        errno = EINVAL;
        return -1;
    }
    if (resolve == 0)
        return ::open(text, FLAGS);
    open_how how{};
    how.flags = FLAGS;
    how.resolve = resolve;
    return static_cast<int>(::syscall(SYS_openat2, AT_FDCWD, text, &how, sizeof how));
}

}  // namespace

RkStaticFile::RkStaticFile(const RkPath& path) : RkStaticFile(path, 0) {
    if (m_handle == -1 && !HasNul(path))
        ::stat(path.GetText().c_str(), &m_status);  // leaves it alone where there is nothing
}

RkStaticFile::RkStaticFile(const RkPath& path, RkUInt64 resolve)
    : m_path(path), m_handle(Open(path, resolve)), m_error(m_handle == -1 ? errno : 0) {
    if (m_handle != -1)
        ::fstat(m_handle, &m_status);
}

RkStaticFile RkStaticFile::OpenWithoutLinks(const RkPath& path) { return {path, RESOLVE_NO_SYMLINKS}; }

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
