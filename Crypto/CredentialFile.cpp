#include "Crypto/CredentialFile.h"

#include <fcntl.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <ctime>
#include <memory>
#include <system_error>

#include "Base/BasicException.h"
#include "Crypto/OpenSSLErrors.h"

namespace kstr::Crypto {

namespace {

constexpr size_t MAX_SIZE = size_t{1} << 20;

/// File systems stamp files with a clock that ticks every 1 to 10 ms: two changes within one tick look like one.
constexpr std::int64_t TICK_NANOSECONDS = 100'000'000;

[[noreturn]] void ThrowErrno(const std::string& path) {
    const int error = errno;
    throw BasicException("unable to read " + path + ": " + std::generic_category().message(error));
}

class Descriptor {
public:
    explicit Descriptor(const std::string& path) : m_fd(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {
        if (m_fd == -1)
            ThrowErrno(path);
    }
    ~Descriptor() { ::close(m_fd); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int Get() const { return m_fd; }

private:
    int m_fd;
};

std::int64_t NanoSeconds(const timespec& time) { return time.tv_sec * std::int64_t{1'000'000'000} + time.tv_nsec; }

std::string Identity(const struct stat& file) {
    const std::array<std::int64_t, 5> parts{
        static_cast<std::int64_t>(file.st_dev), static_cast<std::int64_t>(file.st_ino),
        static_cast<std::int64_t>(file.st_size), NanoSeconds(file.st_mtim), NanoSeconds(file.st_ctim)};
    return {reinterpret_cast<const char*>(parts.data()), sizeof parts};
}

bool IsYoung(const struct stat& file) {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return NanoSeconds(now) - NanoSeconds(file.st_ctim) < TICK_NANOSECONDS;
}

struct stat StatusOf(const Descriptor& file, const std::string& path) {
    struct stat status {};
    if (::fstat(file.Get(), &status) != 0)
        ThrowErrno(path);
    if (!S_ISREG(status.st_mode))
        throw BasicException("unable to read " + path + ": not a regular file");
    if (static_cast<size_t>(status.st_size) > MAX_SIZE)
        throw BasicException("unable to read " + path + ": too large for a certificate or key");
    return status;
}

/// Reads at most `text.size()` bytes into `text` and cuts it there.
void ReadAll(const Descriptor& file, const std::string& path, std::string& text) {
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t count = ::read(file.Get(), text.data() + done, text.size() - done);
        if (count < 0 && errno != EINTR)
            ThrowErrno(path);
        if (count == 0)
            break;
        done += count > 0 ? static_cast<size_t>(count) : 0;
    }
    text.resize(done);
}

/// Stands in for OpenSSL's question on the terminal, which would stop a server.
int RefusePassPhrase(char*, int, int, void*) { return -1; }

std::shared_ptr<BIO> OpenText(const std::string& text) {
    return {
        OpenSSLErrors::Require(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())), "unable to create stream"),
        &BIO_free_all};
}

}  // namespace

CredentialFile::CredentialFile(const std::string& path) : m_path(path) {
    const Descriptor file(path);
    const struct stat before = StatusOf(file, path);
    m_text.resize(static_cast<size_t>(before.st_size));
    ReadAll(file, path, m_text);
    const std::string identity = Identity(before);
    if (!IsYoung(before) && Identity(StatusOf(file, path)) == identity)
        m_identity = identity;
}

CredentialFile::~CredentialFile() { OPENSSL_cleanse(m_text.data(), m_text.size()); }

std::string CredentialFile::IdentityOf(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        ThrowErrno(path);
    return Identity(status);
}

bool CredentialFile::Settled(const std::string& identity) const { return m_identity == identity; }

std::vector<X509Cert> CredentialFile::Certificates() const {
    const auto source = OpenText(m_text);
    std::vector<X509Cert> certs;
    while (X509* const cert = PEM_read_bio_X509_AUX(source.get(), nullptr, &RefusePassPhrase, nullptr))
        certs.emplace_back(cert);
    const unsigned long last = ERR_peek_last_error();
    if (certs.empty() || ERR_GET_LIB(last) != ERR_LIB_PEM || ERR_GET_REASON(last) != PEM_R_NO_START_LINE)
        OpenSSLErrors::Throw("unable to read a certificate from " + m_path);
    OpenSSLErrors::Clear();  // the search for one more certificate ended at the end of the file
    return certs;
}

EVPKey CredentialFile::PrivateKey(int type) const {
    const auto source = OpenText(m_text);
    EVP_PKEY* key = nullptr;
    if (type == PEM)
        key = PEM_read_bio_PrivateKey(source.get(), nullptr, &RefusePassPhrase, nullptr);
    else if (type == DER)
        key = d2i_PrivateKey_bio(source.get(), nullptr);
    if (key == nullptr)
        OpenSSLErrors::Throw("unable to read a private key from " + m_path);
    OpenSSLErrors::Clear();
    return EVPKey(key);
}

}  // namespace kstr::Crypto
