#include "Network/Directory/RkWorkstation.h"

RkWorkstation::RkWorkstation(const RkWString& path) : RkDirectoryPath(path) {}

RkWorkstation::RkWorkstation(const RkWString& DSType, const RkWString& domain, const RkWString& workstationname)
    : RkDirectoryPath(DSType, domain, workstationname) {}

RkWorkstation::RkWorkstation(const RkWString& DSType, const RkWString& server, const RkWString& domain,
                             const RkWString& workstationname)
    : RkDirectoryPath(DSType, server, domain, workstationname) {}

RkWorkstation::~RkWorkstation() = default;
