#include "Crypto/SocketBIO.h"

#include <openssl/bio.h>
#include <openssl/err.h>

#include <cerrno>

#include "Base/RkIO.h"
#include "Crypto/OpenSSLErrors.h"

namespace kstr::Crypto {

namespace {

int HandleOf(BIO* bio) { return static_cast<int>(reinterpret_cast<std::intptr_t>(BIO_get_data(bio))); }

/// Sorts a failed call: "not now" sets the flag that makes OpenSSL report a wait, all else goes into its error queue.
void Fail(BIO* bio, int retryFlag, const char* call) {
    if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)
        BIO_set_flags(bio, retryFlag | BIO_FLAGS_SHOULD_RETRY);
    else
        ERR_raise_data(ERR_LIB_SYS, errno, "%s", call);
}

int Write(BIO* bio, const char* data, size_t size, size_t* done) {
    BIO_clear_retry_flags(bio);
    const ssize_t count = RkIO::Send(HandleOf(bio), data, size, 0);  // never raises SIGPIPE
    if (count < 0)
        Fail(bio, BIO_FLAGS_WRITE, "send");
    *done = count > 0 ? static_cast<size_t>(count) : 0;
    return count > 0 ? 1 : 0;
}

int Read(BIO* bio, char* data, size_t size, size_t* done) {
    BIO_clear_retry_flags(bio);
    const ssize_t count = RkIO::Recv(HandleOf(bio), data, size, 0);
    if (count < 0)
        Fail(bio, BIO_FLAGS_READ, "recv");
    if (count == 0)
        BIO_set_flags(bio, BIO_FLAGS_IN_EOF);
    *done = count > 0 ? static_cast<size_t>(count) : 0;
    return count > 0 ? 1 : 0;
}

long Control(BIO* bio, int command, long, void*) {
    switch (command) {
        case BIO_CTRL_EOF:
            return BIO_test_flags(bio, BIO_FLAGS_IN_EOF) != 0 ? 1 : 0;
        case BIO_CTRL_FLUSH:  // asked for after each flight; nothing is held back
            return 1;
        default:
            return 0;
    }
}

BIO_METHOD* MakeMethod() {
    constexpr int NO_DESCRIPTOR_TYPE = BIO_TYPE_SOURCE_SINK;
    BIO_METHOD* const method = OpenSSLErrors::Require(BIO_meth_new(BIO_get_new_index() | NO_DESCRIPTOR_TYPE, "socket"),
                                                      "unable to create transport");
    BIO_meth_set_write_ex(method, &Write);
    BIO_meth_set_read_ex(method, &Read);
    BIO_meth_set_ctrl(method, &Control);
    return method;
}

}  // namespace

BIO* SocketBIO::Create(int handle) {
    static BIO_METHOD* const method = MakeMethod();  // for as long as any thread may use a session
    BIO* const bio = OpenSSLErrors::Require(BIO_new(method), "unable to create transport");
    BIO_set_data(bio, reinterpret_cast<void*>(static_cast<std::intptr_t>(handle)));
    BIO_set_init(bio, 1);
    return bio;
}

}  // namespace kstr::Crypto
