#include "Crypto/BIOMemStream.h"

#include <openssl/bio.h>

namespace kstr::Crypto {

BIOMemStream::BIOMemStream() : BIOStream(GetMethod()) {}

const BIO_METHOD* BIOMemStream::GetMethod() { return BIO_s_mem(); }

std::string BIOMemStream::GetText() const {
    char* text = nullptr;
    const long length = BIO_get_mem_data(Get(), &text);
    return length > 0 ? std::string(text, static_cast<size_t>(length)) : std::string();
}

}  // namespace kstr::Crypto
