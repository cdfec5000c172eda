#include "Crypto/PeerVerification.h"

#include <openssl/x509_vfy.h>

namespace kstr::Crypto {

namespace {

int SlotInSSL() {
    static const int slot = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return slot;
}

/// Runs a caller's callback. OpenSSL's frames cannot be unwound, so an exception ends here and means "no".
template <typename Callback>
int Ask(X509_STORE_CTX* context, const Callback& callback) {
    int accepted = 0;
    try {
        X509StoreContext view(context);
        accepted = callback(&view);
    } catch (...) {
        accepted = 0;
    }
    return accepted;
}

}  // namespace

void PeerVerification::Attach(SSL* ssl, PeerVerification* verification) {
    SSL_set_ex_data(ssl, SlotInSSL(), verification);
    SSL_set_verify(ssl, verification->mode, verification->certificate == nullptr ? nullptr : &VerifyCertificate);
}

int PeerVerification::VerifyChain(X509_STORE_CTX* context, void*) {
    const PeerVerification& own = Of(context);
    if (own.chain == nullptr)
        return X509_verify_cert(context);
    const int accepted = Ask(context, [&own](X509StoreContext* view) { return own.chain(view, own.chainArgument); });
    if (accepted <= 0 && X509_STORE_CTX_get_error(context) == X509_V_OK)
        X509_STORE_CTX_set_error(context, X509_V_ERR_APPLICATION_VERIFICATION);
    return accepted;
}

int PeerVerification::VerifyCertificate(int preverifyOk, X509_STORE_CTX* context) {
    const PeerVerification& own = Of(context);
    return Ask(context, [&own, preverifyOk](X509StoreContext* view) { return own.certificate(preverifyOk, view); });
}

const PeerVerification& PeerVerification::Of(X509_STORE_CTX* context) {
    const auto* ssl =
        static_cast<const SSL*>(X509_STORE_CTX_get_ex_data(context, SSL_get_ex_data_X509_STORE_CTX_idx()));
    return *static_cast<const PeerVerification*>(SSL_get_ex_data(ssl, SlotInSSL()));
}

}  // namespace kstr::Crypto
