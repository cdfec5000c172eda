# Reads the one place where the version stands: Base/QorVersion.h.
file(STRINGS ${CMAKE_CURRENT_LIST_DIR}/../Base/QorVersion.h QOR_VERSION REGEX "#define QOR_VERSION \"")
string(REGEX REPLACE ".*\"([0-9.]+)\".*" "\\1" QOR_VERSION "${QOR_VERSION}")
