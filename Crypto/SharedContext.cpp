#include "Crypto/SharedContext.h"

#include <openssl/ssl.h>

#include <algorithm>
#include <list>
#include <mutex>
#include <utility>

#include "Crypto/OpenSSLErrors.h"
#include "Crypto/PeerVerification.h"

namespace kstr::Crypto {

namespace {

using ContextPtr = std::shared_ptr<const SharedContext>;

/// The contexts used last, the most recent one in front.
class Memory {
public:
    /// Never destroyed: threads may still make sockets while the process ends.
    static Memory& Get() {
        static Memory& memory = *new Memory;
        return memory;
    }

    ContextPtr Find(const std::string& key) {
        const std::lock_guard guard(m_lock);
        const auto found = std::find_if(m_contexts.begin(), m_contexts.end(),
                                        [&key](const auto& entry) { return entry.first == key; });
        if (found == m_contexts.end())
            return nullptr;
        m_contexts.splice(m_contexts.begin(), m_contexts, found);
        return found->second;
    }

    void Keep(const std::string& key, const ContextPtr& context) {
        std::list<std::pair<std::string, ContextPtr>> dropped;  // destroyed outside the lock
        const std::lock_guard guard(m_lock);
        m_contexts.emplace_front(key, context);
        if (m_contexts.size() > CAPACITY)
            dropped.splice(dropped.begin(), m_contexts, std::prev(m_contexts.end()));
    }

private:
    static constexpr size_t CAPACITY = 32;

    std::mutex m_lock;
    std::list<std::pair<std::string, ContextPtr>> m_contexts;  ///< guarded by m_lock
};

SSL_CTX* MakeContext() {
    SSL_CTX* const context = OpenSSLErrors::Require(SSL_CTX_new(TLS_method()), "unable to create context");
    SSL_CTX_set_cert_verify_callback(context, &PeerVerification::VerifyChain, nullptr);
    SSL_CTX_set_session_cache_mode(context,
                                   SSL_SESS_CACHE_OFF);  // would grow by each connection; tickets resume sessions
    SSL_CTX_set_options(context, SSL_OP_NO_RENEGOTIATION);
    SSL_CTX_set_mode(context, SSL_MODE_NO_AUTO_CHAIN);  // each handshake would search a store that is empty
    return context;
}

}  // namespace

SharedContext::SharedContext(std::string key, std::vector<Setting> settings)
    : m_key(std::move(key)), m_settings(std::move(settings)), m_context(MakeContext(), &SSL_CTX_free) {
    for (const Setting& setting : m_settings)
        setting.apply(m_context.get());
    m_hasMatchingKey = SSL_CTX_check_private_key(m_context.get()) == 1;
    OpenSSLErrors::Clear();
}

ContextPtr SharedContext::Start() {
    static const ContextPtr& start = *new ContextPtr(new SharedContext({}, {}));  // never destroyed, as Memory
    return start;
}

ContextPtr SharedContext::With(const std::string& text, const std::function<Setting()>& make) const {
    std::string key = m_key + text + '\n';
    if (ContextPtr known = Memory::Get().Find(key))
        return known;
    std::vector<Setting> settings = m_settings;
    settings.push_back(make());
    const bool remember =
        std::all_of(settings.begin(), settings.end(), [](const Setting& setting) { return setting.remember; });
    ContextPtr made(new SharedContext(key, std::move(settings)));
    if (remember)
        Memory::Get().Keep(key, made);
    return made;
}

}  // namespace kstr::Crypto
