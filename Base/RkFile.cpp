#include "Base/RkFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "Base/RkException.h"
#include "Base/RkSigPipeHeldBack.h"

namespace {

[[noreturn]] void ThrowCannotOpen(const RkPath& path, int error) {
    throw RkException("Cannot open '" + path.GetText() + "': " + std::generic_category().message(error));
}

/// @return what open(2) takes for a mode that fopen takes; -1 for none
int OpenFlags(std::string_view mode) {
    const bool update = mode.find('+') != mode.npos;
    const int exclusive = mode.find('x') != mode.npos ? O_EXCL : 0;
    switch (mode.empty() ? '\0' : mode.front()) {
        case 'r':
            return update ? O_RDWR : O_RDONLY;
        case 'w':
            return (update ? O_RDWR : O_WRONLY) | O_CREAT | O_TRUNC | exclusive;
        case 'a':
            return (update ? O_RDWR : O_WRONLY) | O_CREAT | O_APPEND | exclusive;
        default:
            return -1;
    }
}

/// @return the descriptor, or -1 with errno set
int OpenFile(const std::string& path, const char* mode) {
    const int flags = OpenFlags(mode);
    if (flags == -1 || path.find('\0') != path.npos) {
        errno = EINVAL;
        return -1;
    }
    int handle;
    do
        handle = ::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0666);
    while (handle == -1 && errno == EINTR);
    return handle;
}

bool IsPipe(int handle) {
    struct stat status;
    return ::fstat(handle, &status) == 0 && S_ISFIFO(status.st_mode);
}

ssize_t WriteOnce(int handle, const char* data, size_t count) {
    ssize_t taken;
    do
        taken = ::write(handle, data, count);
    while (taken == -1 && errno == EINTR);
    return taken;
}

}  // namespace

RkFile::RkFile(const RkPath& path, const char* mode) : m_handle(OpenFile(path.GetText(), mode)) {
    if (m_handle == -1)
        ThrowCannotOpen(path, errno);
    m_isWritablePipe = OpenFlags(mode) != O_RDONLY && IsPipe(m_handle);
}

RkFile::~RkFile() { RkFile::Close(); }

ssize_t RkFile::Read(char* data, size_t count) {
    ssize_t came;
    do
        came = ::read(m_handle, data, count);
    while (came == -1 && errno == EINTR);
    return came;
}

ssize_t RkFile::Write(const char* data, size_t count) {
    if (!m_isWritablePipe)
        return WriteOnce(m_handle, data, count);
    const RkSigPipeHeldBack held;
    const ssize_t taken = WriteOnce(m_handle, data, count);
    if (taken == -1)
        held.TakeBack();
    return taken;
}

bool RkFile::Flush() { return true; }

void RkFile::Close() {
    if (m_handle != -1)
        ::close(std::exchange(m_handle, -1));
}

long RkFile::Seek(long offset, int whence) { return ::lseek(m_handle, offset, whence); }
long RkFile::Tell() { return ::lseek(m_handle, 0, SEEK_CUR); }

bool RkFile::IsRegular(RkUInt64& size) const {
    struct stat status {};
    const bool regular = ::fstat(m_handle, &status) == 0 && S_ISREG(status.st_mode);
    size = regular ? static_cast<RkUInt64>(status.st_size) : 0;
    return regular;
}
