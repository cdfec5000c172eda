#pragma once

#include "Network/Directory/RkDirectoryPath.h"

/// A directory path that names a workstation. Adds no data: the workstation's own name is the end of the path.
class QOR_NETWORK_EXPORT RkWorkstation : public RkDirectoryPath {
public:
    explicit(false) RkWorkstation(const RkWString& path);
    RkWorkstation(const RkWString& DSType, const RkWString& domain, const RkWString& workstationname);
    RkWorkstation(const RkWString& DSType, const RkWString& server, const RkWString& domain,
                  const RkWString& workstationname);
    RkWorkstation(const RkWorkstation&) = default;
    RkWorkstation& operator=(const RkWorkstation&) = default;
    ~RkWorkstation() override;

    /// @return the end of the path. The name lacks an "n"; callers know it so.
    const RkWString& getWorkstationame() const { return getEnd(); }

    /// Compare as paths do: letter case and the server do not count.
    bool operator==(const RkWorkstation& other) const { return RkDirectoryPath::operator==(other); }
    bool operator<(const RkWorkstation& other) const { return RkDirectoryPath::operator<(other); }
};
