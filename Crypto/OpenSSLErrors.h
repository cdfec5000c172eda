#pragma once

#include <string>

namespace kstr::Crypto {

/// OpenSSL's error queue of the calling thread, made into exceptions. Not exported.
class OpenSSLErrors {
public:
    /// Empties the queue. Called before each call whose outcome SSL_get_error judges: a stale entry would decide it.
    static void Clear();

    /// @return every entry of the queue, oldest first, separated by "; "; the queue is empty afterwards
    static std::string Take();

    /// Throws a BasicException: what failed, then the whole queue. The queue is empty afterwards.
    [[noreturn]] static void Throw(const std::string& what);

    /// @return `object`, or throws as Throw does where it is null
    template <typename T>
    static T* Require(T* object, const char* what) {
        if (object == nullptr)
            Throw(what);
        return object;
    }

    /// Throws as Throw does unless `result` is 1, OpenSSL's word for success.
    static void Require(long result, const char* what);
};

}  // namespace kstr::Crypto
