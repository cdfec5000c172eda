#include "Crypto/SSLContext.h"

#include <gmock/gmock.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "Base/BasicException.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestCertificates.h"

using kstr::BasicException;
using kstr::Crypto::SSLContext;

namespace {

std::unique_ptr<SSLContext> NewContext() { return SSLContext::Create(SSLContext::Method::TLSV12); }

/// The object of OpenSSL behind a context.
const SSL_CTX* Behind(const SSLContext& context) { return SSL_get_SSL_CTX(context.CreateConnection()->Get()); }

}  // namespace

class SSLContextTest : public ::testing::Test {
protected:
    std::unique_ptr<SSLContext> Load(const std::string& base) const {
        auto context = NewContext();
        context->UseCert(m_dir / base + ".pem");
        context->UsePrivateKey(m_dir / base + ".key", 1);
        return context;
    }
    /// What all contexts of these files share once the files have come of age.
    const SSL_CTX* Shared(const std::string& base) const {
        auto last = Load(base), next = Load(base);
        for (; Behind(*last) != Behind(*next); next = Load(base))
            last = std::move(next);
        return Behind(*next);
    }
    void Write(const std::string& base, const TestCertificate& wanted = {}) {
        MakeSelfSigned(wanted).Write(m_dir / base);
    }

    TempDir m_dir;
};

TEST_F(SSLContextTest, EqualCredentialsShareAndOthersDoNot) {
    const TestIdentity one = MakeSelfSigned();
    const auto use = [](const TestIdentity& identity) {
        auto context = NewContext();
        context->UseCert(identity.cert);
        context->UsePrivateKey(identity.key);
        return context;
    };
    EXPECT_EQ(Behind(*use(one)), Behind(*use(one)));
    EXPECT_NE(Behind(*use(one)), Behind(*use(MakeSelfSigned())));
}

TEST_F(SSLContextTest, AReplacedFileIsReadByTheNextContext) {
    Write("server");
    const SSL_CTX* const first = Shared("server");
    EXPECT_EQ(Behind(*Load("server")), first);
    Write("server");
    EXPECT_NE(Behind(*Load("server")), first);
    std::filesystem::remove(m_dir / "server.key");
    EXPECT_THROW(Load("server"), BasicException) << "what is remembered does not stand in for a missing file";
}

TEST_F(SSLContextTest, ChangesWithinOneClockTickAreSeen) {
    Write("server");
    const auto first = Load("server");
    EXPECT_NE(Behind(*first), Behind(*Load("server"))) << "a file this young may change and keep its times";
}

TEST_F(SSLContextTest, TellsWhetherKeyAndCertificateMatch) {
    Write("ec");
    Write("ec2");
    Write("rsa", {"localhost", TestCertificate::RSA});
    const struct {
        const char *cert, *key;
        bool match;
    } cases[] = {
        {"ec", "ec", true}, {"ec", "ec2", false}, {"rsa", "rsa", true}, {"rsa", "ec", false}, {"ec", "rsa", false}};
    for (const auto& c : cases) {
        const auto context = NewContext();
        context->UseCert(m_dir / c.cert + ".pem");
        context->UsePrivateKey(m_dir / c.key + ".key", 1);
        EXPECT_EQ(context->CheckPrivateKey(), c.match) << c.cert << " with the key of " << c.key;
    }
    EXPECT_FALSE(NewContext()->CheckPrivateKey());
}

TEST_F(SSLContextTest, BadSettingsThrowTheWholeQueueAndLeaveItEmpty) {
    Write("good");
    std::ofstream(m_dir / "cut.pem") << "-----BEGIN CERTIFICATE-----\nMIIB\n";
    const auto encrypted = MakeSelfSigned();
    FILE* const file = std::fopen((m_dir / "encrypted.key").c_str(), "w");
    ASSERT_EQ(PEM_write_PrivateKey(file, encrypted.key.Get(), EVP_aes_128_cbc(), nullptr, 0, nullptr,
                                   const_cast<char*>("secret")),
              1);
    std::fclose(file);

    const auto context = NewContext();
    const std::function<void()> steps[] = {
        [&] { context->SetCipherString("NO-SUCH-CIPHER"); },
        [&] { context->UseCert(m_dir / "cut.pem"); },
        [&] { context->UseCert(m_dir / "missing.pem"); },
        [&] { context->UsePrivateKey(m_dir / "good.pem", 1); },
        [&] { context->UsePrivateKey(m_dir / "good.key", 7); },
        [&] { context->UsePrivateKey(m_dir / "encrypted.key", 1); },  // and asks nobody for a pass phrase
        [&] { SSLContext::Create(static_cast<SSLContext::Method::Type>(3)); },
    };
    for (size_t i = 0; i < std::size(steps); ++i) {
        ERR_clear_error();
        EXPECT_THROW(steps[i](), BasicException) << "step " << i;
        EXPECT_EQ(ERR_peek_error(), 0u) << "step " << i;
    }
    EXPECT_NO_THROW(context->UseCert(m_dir / "good.pem")) << "the context is as it was";
}
