#include "Network/Directory/RkGroup.h"

RkGroup::RkGroup(const RkWString& path) : RkDirectoryPath(path) {}

RkGroup::RkGroup(const RkWString& DSType, const RkWString& domain, const RkWString& groupname)
    : RkDirectoryPath(DSType, domain, groupname) {}

RkGroup::RkGroup(const RkWString& DSType, const RkWString& server, const RkWString& domain, const RkWString& groupname)
    : RkDirectoryPath(DSType, server, domain, groupname) {}

RkGroup::~RkGroup() = default;
