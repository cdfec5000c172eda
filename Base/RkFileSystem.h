#pragma once

#include <string>

#include "Base/RkPath.h"
#include "Base/RkTypes.h"

/// Questions to the file system. Nothing throws; what cannot be told is empty, false or 0. Safe from any thread.
class QOR_BASE_EXPORT RkFileSystem {
public:
    /// @return the absolute path without links and dots; empty for what cannot be resolved and for a text with a NUL
    static std::string GetCanonicalPath(const std::string& path);

    /// @return the canonical path of what an open descriptor refers to; empty when it has none or cannot be told
    static std::string GetPathOfHandle(int handle);

    /// Links are followed; false also for what may not be looked at.
    static bool IsDir(const RkPath& path);
    /// Whether there is anything of this name, of whatever kind; a link that leads nowhere is nothing.
    static bool Exists(const RkPath& path);

    /// @return the size in bytes of a regular file; 0 for all else and when it cannot be told
    static RkUInt64 GetFileSize(const RkPath& path);
};
