#include "Base/RkFileSystem.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <filesystem>
#include <string_view>

namespace {

/// Names a place in the file system without opening what is there: a FIFO or a device does not notice.
class PlaceHandle {
public:
    explicit PlaceHandle(const std::string& path) : m_handle(::open(path.c_str(), O_PATH | O_CLOEXEC)) {}
    ~PlaceHandle() {
        if (m_handle != -1)
            ::close(m_handle);
    }
    PlaceHandle(const PlaceHandle&) = delete;
    PlaceHandle& operator=(const PlaceHandle&) = delete;

    bool IsOpen() const { return m_handle != -1; }

    int Get() const { return m_handle; }

private:
    int m_handle;
};

bool HasNul(const std::string& text) { return text.find('\0') != text.npos; }

/// @return the kernel's own text of what is open; empty when it cannot be had
std::string GetText(int handle) {
    char link[32];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", handle);
    char text[PATH_MAX];
    const ssize_t length = ::readlink(link, text, sizeof text);
    return length > 0 && length < PATH_MAX ? std::string(text, static_cast<size_t>(length)) : std::string();
}

// What is no path ("pipe:[7]", "(unreachable)/x") or may be one of a file deleted meanwhile, whose name the kernel marks so.
bool IsDoubtful(const std::string& text) { return !text.starts_with('/') || text.ends_with(" (deleted)"); }

std::string ResolveByComponents(const std::string& path) {
    std::error_code error;
    return std::filesystem::canonical(path, error).string();
}

bool GetStatus(const std::string& path, struct stat& status) {
    return !HasNul(path) && ::stat(path.c_str(), &status) == 0;
}

}  // namespace

// Three system calls whatever the depth; a walk over the components needs one for each.
std::string RkFileSystem::GetCanonicalPath(const std::string& path) {
    if (HasNul(path))
        return {};
    const PlaceHandle place(path);
    if (!place.IsOpen())
        return {};
    const std::string text = GetPathOfHandle(place.Get());
    return text.empty() ? ResolveByComponents(path) : text;
}

std::string RkFileSystem::GetPathOfHandle(int handle) {
    std::string text = GetText(handle);
    return IsDoubtful(text) ? std::string() : text;
}

bool RkFileSystem::IsDir(const RkPath& path) {
    struct stat status;
    return GetStatus(path, status) && S_ISDIR(status.st_mode);
}

bool RkFileSystem::Exists(const RkPath& path) {
    struct stat status;
    return GetStatus(path, status);
}

RkUInt64 RkFileSystem::GetFileSize(const RkPath& path) {
    struct stat status;
    return GetStatus(path, status) && S_ISREG(status.st_mode) ? static_cast<RkUInt64>(status.st_size) : 0;
}
