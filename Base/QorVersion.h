/// The version of all libraries of the project. The build reads it from here: it decides package versions and SONAMEs.
#pragma once

#define QOR_VERSION_MAJOR 1
#define QOR_VERSION_MINOR 0
#define QOR_VERSION_PATCH 0
#define QOR_VERSION "1.0.0"
