#include "Base/BasicException.h"

namespace kstr {

BasicException::BasicException(const std::string& message) : RkException(message) {}
BasicException::~BasicException() = default;

}  // namespace kstr
