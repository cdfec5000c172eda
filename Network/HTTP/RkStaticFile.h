#pragma once

#include <sys/stat.h>

#include <string>

#include "Base/RkPath.h"
#include "Base/RkTypes.h"

/// What stands at a path, opened to be sent if it can be; for the library's own use. Owns the descriptor. For one thread at a
/// time.
///
/// Opening never blocks, and what is no regular file is not read: a FIFO or a device holds no thread. All questions are
/// answered by the open file, not by its path, which may name something else by then.
class RkStaticFile {
public:
    explicit RkStaticFile(const RkPath& path);
    RkStaticFile() = default;  ///< of nothing

    /// Opens only what is reached without a symbolic link, so that a path without ".." is where it seems to be.
    static RkStaticFile OpenWithoutLinks(const RkPath& path);

    RkStaticFile(RkStaticFile&& other) noexcept;
    RkStaticFile& operator=(RkStaticFile&& other) noexcept;
    ~RkStaticFile();

    bool Exists() const { return m_status.st_mode != 0; }  ///< also what may not be read
    bool IsDirectory() const { return S_ISDIR(m_status.st_mode); }
    bool IsRegular() const { return S_ISREG(m_status.st_mode); }

    /// @return bytes of a regular file, else 0
    RkUInt64 GetSize() const { return IsRegular() ? static_cast<RkUInt64>(m_status.st_size) : 0; }

    const RkPath& GetPath() const { return m_path; }

    /// @return without links and dots; empty when there is nothing, or it cannot be told
    std::string GetCanonicalPath() const;

    /// @return 0, or the errno that tells why it is not open
    int GetError() const { return m_error; }

    /// Throws an RkException that names the path and the reason when the file is not open for reading.
    void RequireOpen() const;

    /// @return the descriptor, whose position is what Read moves; -1 when it is not open
    int GetHandle() const { return m_handle; }

    /// @return bytes, 0 at the end, -1 with errno set
    ssize_t Read(char* data, size_t count) const;

private:
    RkStaticFile(const RkPath& path, RkUInt64 resolve);

    RkPath m_path;
    int m_handle = -1;
    int m_error = 0;
    struct stat m_status {};
};
