/// Marks what libQorCrypto exports; everything else in it is hidden.
#pragma once

#define QOR_CRYPTO_EXPORT __attribute__((visibility("default")))
