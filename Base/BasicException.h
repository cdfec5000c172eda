#pragma once

#include "Base/RkException.h"

namespace kstr {

/// The exception of the layers below the network classes (crypto): its text is taken over into their messages.
class QOR_BASE_EXPORT BasicException : public RkException {
public:
    explicit BasicException(const std::string& message);
    ~BasicException() override;
};

}  // namespace kstr
