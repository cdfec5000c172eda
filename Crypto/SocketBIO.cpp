#include "Crypto/SocketBIO.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>

#include "Base/RkIO.h"
#include "Crypto/OpenSSLErrors.h"

namespace kstr::Crypto {

namespace {

/// What a BIO keeps: the descriptor, and during a handshake what was seen of the bytes that have come.
class Transport {
public:
    explicit Transport(int handle) : m_handle(handle), m_seen(std::make_unique_for_overwrite<Bytes>()) {}

    ssize_t Send(const char* data, size_t size) {
        m_hasSent = true;
        return RkIO::Send(m_handle, data, size, m_sendFlags);  // never raises SIGPIPE
    }

    ssize_t Receive(char* data, size_t size) {
        if (m_seen == nullptr)
            return RkIO::Recv(m_handle, data, size, 0);
        if (m_next == m_end) {
            const ssize_t count = Look();
            if (count <= 0)
                return count;
        }
        const size_t taken = std::min(size, m_end - m_next);
        std::copy_n(m_seen->data() + m_next, taken, data);
        m_next += taken;
        if (m_next == m_end)
            Take();
        return static_cast<ssize_t>(taken);
    }

    void SendWithoutWaiting() { m_sendFlags = MSG_DONTWAIT; }

    void StopLookingAhead() {
        if (m_seen != nullptr)
            Take();
        m_seen.reset();
    }

private:
    using Bytes = std::array<char, 4096>;

    /// Until this end has sent something, all that comes belongs to the handshake, and need not be left where it is.
    ssize_t Look() {
        m_isLeft = m_hasSent;
        const ssize_t count = RkIO::Recv(m_handle, m_seen->data(), m_seen->size(), m_isLeft ? MSG_PEEK : 0);
        m_end = count > 0 ? static_cast<size_t>(count) : 0;
        return count;
    }

    /// Takes what was used. All of it is there, since nobody else reads; a peer that marks it as urgent meanwhile breaks
    /// its own session.
    void Take() {
        if (m_isLeft && m_next > 0)
            RkIO::Recv(m_handle, m_seen->data(), m_next, MSG_DONTWAIT);
        m_next = m_end = 0;
    }

    const int m_handle;
    int m_sendFlags = 0;
    std::unique_ptr<Bytes> m_seen;  ///< null after the handshake
    size_t m_next = 0;              ///< of what was seen, up to here it was used
    size_t m_end = 0;
    bool m_isLeft = false;  ///< what was seen is still with the system
    bool m_hasSent = false;
};

Transport& TransportOf(BIO* bio) { return *static_cast<Transport*>(BIO_get_data(bio)); }

/// Sorts a failed call: "not now" sets the flag that makes OpenSSL report a wait, all else goes into its error queue.
void Fail(BIO* bio, int retryFlag, const char* call) {
    if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)
        BIO_set_flags(bio, retryFlag | BIO_FLAGS_SHOULD_RETRY);
    else
        ERR_raise_data(ERR_LIB_SYS, errno, "%s", call);
}

int Write(BIO* bio, const char* data, size_t size, size_t* done) {
    BIO_clear_retry_flags(bio);
    const ssize_t count = TransportOf(bio).Send(data, size);
    if (count < 0)
        Fail(bio, BIO_FLAGS_WRITE, "send");
    *done = count > 0 ? static_cast<size_t>(count) : 0;
    return count > 0 ? 1 : 0;
}

int Read(BIO* bio, char* data, size_t size, size_t* done) {
    BIO_clear_retry_flags(bio);
    const ssize_t count = TransportOf(bio).Receive(data, size);
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

int Destroy(BIO* bio) {
    delete &TransportOf(bio);
    return 1;
}

BIO_METHOD* MakeMethod() {
    constexpr int NO_DESCRIPTOR_TYPE = BIO_TYPE_SOURCE_SINK;
    BIO_METHOD* const method = OpenSSLErrors::Require(BIO_meth_new(BIO_get_new_index() | NO_DESCRIPTOR_TYPE, "socket"),
                                                      "unable to create transport");
    BIO_meth_set_write_ex(method, &Write);
    BIO_meth_set_read_ex(method, &Read);
    BIO_meth_set_ctrl(method, &Control);
    BIO_meth_set_destroy(method, &Destroy);
    return method;
}

}  // namespace

BIO* SocketBIO::Create(int handle) {
    static BIO_METHOD* const method = MakeMethod();  // for as long as any thread may use a session
    auto transport = std::make_unique<Transport>(handle);
    BIO* const bio = OpenSSLErrors::Require(BIO_new(method), "unable to create transport");
    BIO_set_data(bio, transport.release());
    BIO_set_init(bio, 1);
    return bio;
}

void SocketBIO::SendWithoutWaiting(BIO* bio) { TransportOf(bio).SendWithoutWaiting(); }

void SocketBIO::StopLookingAhead(BIO* bio) { TransportOf(bio).StopLookingAhead(); }

}  // namespace kstr::Crypto
