#include "Network/Network/RkSocketWait.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <memory>
#include <new>

#include "Base/RkIO.h"

namespace {

using Word = unsigned long;
constexpr int WORD_BITS = 64;

/// The three descriptor sets of one wait, side by side.
class Sets {
public:
    /// @param count  one more than the highest handle
    explicit Sets(int count) : m_words(static_cast<std::size_t>((count + WORD_BITS - 1) / WORD_BITS)) {
        if (m_words > ROOM)
            m_large.reset(new (std::nothrow) Word[3 * m_words]);
        m_begin = m_words > ROOM ? m_large.get() : m_small;
        if (m_begin)
            std::fill_n(m_begin, 3 * m_words, Word{0});
    }

    bool HaveMemory() const { return m_begin != nullptr; }

    void Add(int set, SOCKET sock) {
        if (sock >= 0)
            At(set)[sock / WORD_BITS] |= Word{1} << sock % WORD_BITS;
    }

    fd_set* Get(int set) { return reinterpret_cast<fd_set*>(At(set)); }

private:
    static constexpr std::size_t ROOM = FD_SETSIZE / WORD_BITS;

    Word* At(int set) { return m_begin + static_cast<std::size_t>(set) * m_words; }

    std::size_t m_words;  ///< of each set
    Word m_small[3 * ROOM];
    std::unique_ptr<Word[]> m_large;
    Word* m_begin;
};

int Fail(int error) {
    errno = error;
    return -1;
}

}  // namespace

int RkSocketWait::For(SOCKET sock, unsigned conditions, const RkTimePeriod& timeout, SOCKET waker) {
    const int count = std::max(sock, waker) + 1;
    if (count == 0 && timeout.IsZero())
        return Fail(EBADF);
    Sets sets(count);
    if (!sets.HaveMemory())
        return Fail(ENOMEM);
    for (int set = 0; set < 3; ++set)
        if (conditions & 1U << set)
            sets.Add(set, sock);
    sets.Add(0, waker);
    if (timeout.IsZero())
        return RkIO::Select(count, sets.Get(0), sets.Get(1), sets.Get(2));
    return RkIO::Select(count, sets.Get(0), sets.Get(1), sets.Get(2), timeout);
}
