/// Marks what libQorNetwork exports; everything else in it is hidden.
#pragma once

#define QOR_NETWORK_EXPORT __attribute__((visibility("default")))
