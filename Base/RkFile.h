#pragma once

#include "Base/RkDevice.h"
#include "Base/RkPath.h"

/// An open file. Owns its descriptor, which is close-on-exec; the destructor closes it. For one thread at a time.
class QOR_BASE_EXPORT RkFile : public RkDevice {
public:
    /// @param mode  as fopen takes it: "rb", "r+", "w", "a", ... Opening never blocks: a FIFO without a writer opens at once.
    /// Throws an RkException that names the path and the reason.
    RkFile(const RkPath& path, const char* mode);
    ~RkFile() override;
    RkFile(const RkFile&) = delete;
    RkFile& operator=(const RkFile&) = delete;

    ssize_t Read(char* data, size_t count) override;         ///< one read(2)
    ssize_t Write(const char* data, size_t count) override;  ///< one write(2); raises no SIGPIPE
    bool Flush() override;                                   ///< nothing is held back here; true
    void Close() override;                                   ///< a second call does nothing
    long Seek(long offset, int whence) override;
    long Tell() override;

    /// @return the descriptor, still owned by this object; -1 once closed
    int GetHandle() const { return m_handle; }

    /// Whether it is a regular file, and its size in bytes (0 for any other).
    bool IsRegular(RkUInt64& size) const;

private:
    int m_handle;
    bool m_isWritablePipe = false;
};
