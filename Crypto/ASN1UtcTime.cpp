#include "Crypto/ASN1UtcTime.h"

#include <openssl/asn1.h>

#include <ctime>
#include <utility>

#include "Crypto/BIOMemStream.h"
#include "Crypto/OpenSSLErrors.h"

namespace kstr::Crypto {

ASN1UtcTime::ASN1UtcTime(std::shared_ptr<const ASN1_TIME> time) : m_time(std::move(time)) {}

int ASN1UtcTime::CompareWithNow() const {
    const int result = ASN1_TIME_cmp_time_t(m_time.get(), std::time(nullptr));
    OpenSSLErrors::Clear();
    return result == -2 ? 0 : result;  // -2: not a time
}

std::string ASN1UtcTime::ToString() const {
    const BIOMemStream text;
    ASN1_TIME_print(text.Get(), m_time.get());
    OpenSSLErrors::Clear();
    return text.GetText();
}

}  // namespace kstr::Crypto
