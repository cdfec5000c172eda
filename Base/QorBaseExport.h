/// Marks what libQorBase exports; everything else in it is hidden.
#pragma once

#define QOR_BASE_EXPORT __attribute__((visibility("default")))
