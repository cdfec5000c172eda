#include "Crypto/OpenSSLErrors.h"

#include <openssl/err.h>

#include <array>

#include "Base/BasicException.h"

namespace kstr::Crypto {

void OpenSSLErrors::Clear() {
    if (ERR_peek_error() != 0)  // clearing goes through all of the queue's places, also when it is empty
        ERR_clear_error();
}

std::string OpenSSLErrors::Take() {
    std::string text;
    std::array<char, 256> entry{};
    const char* data = nullptr;
    int flags = 0;
    while (const unsigned long code = ERR_get_error_all(nullptr, nullptr, nullptr, &data, &flags)) {
        ERR_error_string_n(code, entry.data(), entry.size());
        text += text.empty() ? "" : "; ";
        text += entry.data();
        if ((flags & ERR_TXT_STRING) != 0 && *data != '\0')
            text.append(":").append(data);
    }
    return text;
}

void OpenSSLErrors::Throw(const std::string& what) {
    const std::string errors = Take();
    throw BasicException(errors.empty() ? what : what + ": " + errors);
}

void OpenSSLErrors::Require(long result, const char* what) {
    if (result != 1)
        Throw(what);
}

}  // namespace kstr::Crypto
