#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Crypto/OpenSSLTypes.h"

namespace kstr::Crypto {

/// OpenSSL's context object as a chain of settings has left it; never changed once made. Not exported.
///
/// A server makes a context for each connection, always the same one, and a new SSL_CTX costs more than a handshake. So
/// those that were made last are remembered by their settings (credentials included) and handed out again. What is
/// remembered keeps its key in memory until 32 others were used after it.
/// All operations are safe from any thread.
class SharedContext {
public:
    /// One setting. Applied once more for each context that is made further down the chain.
    struct Setting {
        std::function<void(SSL_CTX*)> apply;  ///< throws BasicException
        bool remember = true;                 ///< whether its text says all about it
    };

    /// @return a context without any settings. Throws BasicException.
    static std::shared_ptr<const SharedContext> Start();

    /// The same context with one more setting.
    /// @param text  what the setting is: equal texts must stand for equal settings
    /// @param make  makes the setting, called only if nothing is remembered under the text; may throw
    /// Throws BasicException when the setting does not apply; this context stays good.
    std::shared_ptr<const SharedContext> With(const std::string& text, const std::function<Setting()>& make) const;

    /// @return whether there are a certificate and a key and the two belong together
    bool HasMatchingKey() const { return m_hasMatchingKey; }

    /// For SSL_new and for looking; must not be changed.
    SSL_CTX* Get() const { return m_context.get(); }

private:
    SharedContext(std::string key, std::vector<Setting> settings);

    std::string m_key;
    std::vector<Setting> m_settings;
    std::shared_ptr<SSL_CTX> m_context;
    bool m_hasMatchingKey = false;
};

}  // namespace kstr::Crypto
