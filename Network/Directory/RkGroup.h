#pragma once

#include "Network/Directory/RkDirectoryPath.h"

/// A directory path that names a group. Adds no data: the group's own name is the end of the path.
class QOR_NETWORK_EXPORT RkGroup : public RkDirectoryPath {
public:
    explicit(false) RkGroup(const RkWString& path);
    RkGroup(const RkWString& DSType, const RkWString& domain, const RkWString& groupname);
    RkGroup(const RkWString& DSType, const RkWString& server, const RkWString& domain, const RkWString& groupname);
    RkGroup(const RkGroup&) = default;
    RkGroup& operator=(const RkGroup&) = default;
    ~RkGroup() override;

    /// @return the end of the path
    const RkWString& getGroupName() const { return getEnd(); }

    /// Compare as paths do: letter case and the server do not count.
    bool operator==(const RkGroup& other) const { return RkDirectoryPath::operator==(other); }
    bool operator<(const RkGroup& other) const { return RkDirectoryPath::operator<(other); }
};
