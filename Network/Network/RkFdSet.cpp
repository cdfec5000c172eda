#include "Network/Network/RkFdSet.h"

#include <sys/mman.h>

#include <cstdlib>
#include <cstring>

#include "Network/Network/RkMaxFdSetSize.h"

namespace {

constexpr int KERNEL_WORD_BITS = 64;
constexpr std::size_t KERNEL_WORD_BYTES = KERNEL_WORD_BITS / 8;

/// From this size on a set gets pages of its own: the allocator would hand out used memory and clear all of it.
constexpr std::size_t OWN_PAGES_FROM = 16384;

/// The kernel reads and writes whole words, so that a set needs room for the last one.
std::size_t Bytes(int count) {
    return static_cast<std::size_t>((static_cast<long>(count) + KERNEL_WORD_BITS - 1) / KERNEL_WORD_BITS) *
           KERNEL_WORD_BYTES;
}

std::size_t WholeSize() { return Bytes(RkMaxFdSetSize::MaxFD); }

bool HasOwnPages() { return WholeSize() >= OWN_PAGES_FROM; }

fd_set* Allocate() {
    if (!HasOwnPages())
        return static_cast<fd_set*>(std::calloc(WholeSize(), 1));
    void* const pages =
        ::mmap(nullptr, WholeSize(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    return pages == MAP_FAILED ? nullptr : static_cast<fd_set*>(pages);
}

}  // namespace

RkFdSet::RkFdSet() : m_fdset(std::addressof(m_small)), m_small{} {}

RkFdSet::~RkFdSet() {
    if (IsSmall() || !m_fdset)
        return;
    if (HasOwnPages())
        ::munmap(m_fdset, WholeSize());
    else
        std::free(m_fdset);
}

void RkFdSet::clear() {
    if (IsSmall())
        m_small = fd_set{};
    else if (HasOwnPages())
        ::madvise(m_fdset, WholeSize(), MADV_DONTNEED);  // private pages come back as zeros
    else
        std::memset(m_fdset, 0, WholeSize());
}

void RkFdSet::SetBit(SOCKET sock) {
    fd_set* const set = sock < FD_SETSIZE ? m_fdset : Whole();
    reinterpret_cast<unsigned char*>(set)[sock / 8] |= static_cast<unsigned char>(1 << sock % 8);
}

bool RkFdSet::HasBit(SOCKET sock) const {
    if (IsSmall() && sock >= FD_SETSIZE)
        return false;
    return (reinterpret_cast<const unsigned char*>(m_fdset)[sock / 8] >> sock % 8 & 1) != 0;
}

fd_set* RkFdSet::Emptied(int count) {
    fd_set* const set = count <= FD_SETSIZE ? m_fdset : Whole();
    std::memset(set, 0, Bytes(count));
    return set;
}

fd_set* RkFdSet::Whole() {
    if (IsSmall() && WholeSize() > sizeof m_small) {
        m_fdset = Allocate();
        if (m_fdset)
            std::memcpy(m_fdset, std::addressof(m_small), sizeof m_small);
    }
    return m_fdset;
}
