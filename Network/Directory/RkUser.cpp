#include "Network/Directory/RkUser.h"

RkUser::RkUser(const RkWString& path) : RkDirectoryPath(path) {}

RkUser::RkUser(const RkWString& DSType, const RkWString& domain, const RkWString& username)
    : RkDirectoryPath(DSType, domain, username) {}

RkUser::RkUser(const RkWString& DSType, const RkWString& server, const RkWString& domain, const RkWString& username)
    : RkDirectoryPath(DSType, server, domain, username) {}

RkUser::~RkUser() = default;
