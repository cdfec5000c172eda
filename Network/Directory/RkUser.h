#pragma once

#include "Network/Directory/RkDirectoryPath.h"

/// A directory path that names a user. Adds no data: the user's own name is the end of the path.
class QOR_NETWORK_EXPORT RkUser : public RkDirectoryPath {
public:
    explicit(false) RkUser(const RkWString& path);
    RkUser(const RkWString& DSType, const RkWString& domain, const RkWString& username);
    RkUser(const RkWString& DSType, const RkWString& server, const RkWString& domain, const RkWString& username);
    RkUser(const RkUser&) = default;
    RkUser& operator=(const RkUser&) = default;
    ~RkUser() override;

    /// @return the end of the path
    const RkWString& getUsername() const { return getEnd(); }

    /// Compare as paths do: letter case and the server do not count.
    bool operator==(const RkUser& other) const { return RkDirectoryPath::operator==(other); }
    bool operator<(const RkUser& other) const { return RkDirectoryPath::operator<(other); }
};
