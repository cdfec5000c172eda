#pragma once

#include <string>

#include "Base/RkStringHasher.h"
#include "Network/Network/RkCache.h"

/// An RkCache whose keys are strings. The owner serialises all calls.
template <class Value, class CallBack>
class RkStringKeyCache : public RkCache<std::string, Value, RkStringHasher, CallBack> {
public:
    /// @param size  most entries held
    explicit RkStringKeyCache(unsigned int size) : RkCache<std::string, Value, RkStringHasher, CallBack>(size) {}
    ~RkStringKeyCache() override = default;
};
