#include "Crypto/SSLContext.h"

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/ssl.h>

#include <fstream>
#include <functional>

#include "Base/BasicException.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestCertificates.h"

using kstr::BasicException, kstr::Crypto::SSLContext;

struct SSLContextTest : testing::Test {
    SSLContextTest() { MakeSelfSigned().Write(m_dir / "ec"); }
    /// The object of OpenSSL behind a context.
    static const SSL_CTX* Behind(const SSLContext& context) {
        return SSL_get_SSL_CTX(context.CreateConnection()->Get());
    }

    std::unique_ptr<SSLContext> Load() const {
        auto context = SSLContext::Create(SSLContext::Method::TLSV12);
        context->UseCert(m_dir / "ec.pem");
        context->UsePrivateKey(m_dir / "ec.key", 1);
        return context;
    }

    const TempDir m_dir;
};

TEST_F(SSLContextTest, AReplacedFileIsReadByTheNextContext) {
    auto last = Load(), next = Load();
    EXPECT_NE(Behind(*last), Behind(*next)) << "files this young may change within the tick of their times";
    for (; Behind(*last) != Behind(*next); next = Load())
        last = std::move(next);
    MakeSelfSigned().Write(m_dir / "ec");
    EXPECT_NE(Behind(*Load()), Behind(*next));
    std::ofstream(m_dir / "ec.key").close();
    EXPECT_THROW(Load(), BasicException) << "what is remembered does not stand in for a bad file";
}

TEST_F(SSLContextTest, BadSettingsThrowTheWholeQueueAndLeaveItEmpty) {
    std::ofstream(m_dir / "cut.pem") << "-----BEGIN CERTIFICATE-----\nMIIB\n";
    const auto context = SSLContext::Create(SSLContext::Method::TLSV12);
    const std::function<void()> steps[] = {
        [&] { context->SetCipherString("NO-SUCH-CIPHER"); },      [&] { context->UseCert(m_dir / "cut.pem"); },
        [&] { context->UseCert(m_dir / "missing.pem"); },         [&] { context->UseCert("/dev/zero"); },
        [&] { context->UsePrivateKey(m_dir / "ec.pem", 1); },     [&] { context->UsePrivateKey(m_dir / "ec.key", 7); },
        [&] { SSLContext::Create(SSLContext::Method::Type(3)); },
    };
    for (const auto& step : steps) {
        EXPECT_THROW(step(), BasicException) << "step " << &step - steps;
        EXPECT_EQ(ERR_peek_error(), 0u) << "step " << &step - steps;
    }
    EXPECT_NO_THROW(context->UseCert(m_dir / "ec.pem")) << "the context is as it was";
}
