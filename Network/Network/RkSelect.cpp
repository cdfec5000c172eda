#include "Network/Network/RkSelect.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "Base/RkIO.h"
#include "Network/Network/RkMaxFdSetSize.h"

namespace {

void AbortIfTooHigh(RkSelect::Sock_t sock) {
    if (sock < RkMaxFdSetSize::MaxFD)
        return;
    std::fprintf(stderr, "ERROR(Kestrion): overflowing fd_set with fd(%d) >= fd_set size(%d)\n", sock,
                 RkMaxFdSetSize::MaxFD);
    std::abort();
}

void Add(RkSelect::SockSet_t& handles, RkSelect::Sock_t sock) {
    AbortIfTooHigh(sock);
    if (sock >= 0)
        handles.insert(sock);
}

int Highest(const RkSelect::SockSet_t& handles) { return handles.empty() ? 0 : *handles.rbegin(); }

bool IsReady(const RkFdSet& set, RkSelect::Sock_t sock) {
    AbortIfTooHigh(sock);
    return sock > 0 && set.HasBit(sock);
}

void Collect(const RkFdSet& set, const RkSelect::SockSet_t& handles, RkSelect::SockVec_t& sockets) {
    sockets.clear();
    std::copy_if(handles.begin(), handles.end(), std::back_inserter(sockets),
                 [&](RkSelect::Sock_t sock) { return set.HasBit(sock); });
}

}  // namespace

RkSelect::RkSelect() = default;

RkSelect::~RkSelect() = default;

void RkSelect::AddReader(Sock_t sock) { Add(m_readers, sock); }

void RkSelect::AddWriter(Sock_t sock) { Add(m_writers, sock); }

void RkSelect::AddException(Sock_t sock) { Add(m_exceptions, sock); }

void RkSelect::RemoveReader(Sock_t sock) { m_readers.erase(sock); }

void RkSelect::RemoveWriter(Sock_t sock) { m_writers.erase(sock); }

void RkSelect::RemoveException(Sock_t sock) { m_exceptions.erase(sock); }

int RkSelect::Select(RkTimePeriod timeout, bool waitOnZero) {
    const int count = std::max({Highest(m_readers), Highest(m_writers), Highest(m_exceptions)}) + 1;
    const int dirty = std::max(count, m_count);
    fd_set* const readers = Fill(m_fdReaders, m_readers, dirty);
    fd_set* const writers = Fill(m_fdWriters, m_writers, dirty);
    fd_set* const exceptions = Fill(m_fdExceptions, m_exceptions, dirty);
    m_count = count;
    if (waitOnZero && timeout.IsZero())
        return RkIO::Select(count, readers, writers, exceptions);
    return RkIO::Select(count, readers, writers, exceptions, timeout);
}

fd_set* RkSelect::Fill(RkFdSet& set, const SockSet_t& handles, int dirty) {
    fd_set* const emptied = set.Emptied(dirty);
    for (const auto sock : handles)
        set.SetBit(sock);
    return emptied;
}

bool RkSelect::Readable(Sock_t sock) { return IsReady(m_fdReaders, sock); }

bool RkSelect::Writable(Sock_t sock) { return IsReady(m_fdWriters, sock); }

bool RkSelect::Exceptional(Sock_t sock) { return IsReady(m_fdExceptions, sock); }

void RkSelect::Readers(SockVec_t& sockets) { Collect(m_fdReaders, m_readers, sockets); }

void RkSelect::Writers(SockVec_t& sockets) { Collect(m_fdWriters, m_writers, sockets); }

void RkSelect::Exceptions(SockVec_t& sockets) { Collect(m_fdExceptions, m_exceptions, sockets); }
