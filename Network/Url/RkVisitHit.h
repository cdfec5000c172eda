#pragma once

#include <atomic>
#include <ctime>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>

#include "Base/RkCriticalSection.h"
#include "Network/QorNetworkExport.h"
#include "Network/Url/RkFoldedText.h"

/// Told about a hit: the `a` and `b` of its CalcIsVisit, and the context of the user's last visit.
using pfnRkVisitUpdateCallback_t = void (*)(unsigned long a, unsigned long b, void* context);

/// Orders byte strings without regard to the case of ASCII letters. Accepts any kind of text without a copy.
using ltvhmap = RkFoldedLess;

/// Decides for each web request of a user whether it begins a visit (a page worth counting) or is a hit: a further request,
/// such as an image of the page, that belongs to the current visit. One classifier per process: all state is class-wide.
///
/// A request is a visit when its user was not seen for `m_VisitDelay` seconds or when its file looks like a page. Users and
/// extensions match without regard to case. The tables grow with every new user and are never cleared of them.
///
/// Everything is safe from any thread. Two locks order the work: `s_lock`, then `s_callbackLock`.
class QOR_NETWORK_EXPORT RkVisitHit {
public:
    using mapLastHit_t = std::map<std::string, std::time_t, ltvhmap>;
    using mapLastVisit_t = std::map<std::string, void*, ltvhmap>;
    using setFileExtension_t = std::set<std::string, ltvhmap>;

    /// Classifies one request and remembers its time. A time before the user's last one counts as within the delay.
    ///
    /// While a call-back is registered, a visit stores `context` for its user, and a hit calls the call-back with the stored
    /// one; a hit of a user without a stored context is not reported.
    /// @param user     neither it nor `url` is changed
    /// @param url      with its scheme ("http://host/file"); a text without "://" is a page
    /// @param now      seconds, from any fixed point
    /// @param a,b      handed to the call-back as they are
    /// @param context  the caller's own; never looked into
    /// @return true for a visit
    static bool CalcIsVisit(std::string& user, std::string& url, std::time_t now, unsigned long a, unsigned long b,
                            void* context);

    /// Whether the file of a URL looks like a page: it has no extension, or one of the known ones.
    ///
    /// Switches name look-ups of RkUrl off for the whole process, for good: a classifier of log lines must never wait for
    /// a name server (test KeepsNameLookUpsSwitchedOff).
    static bool IsUrlAContainer(const std::string& url);

    /// Registers the call-back, replacing any other. It runs in the thread of CalcIsVisit with both locks held: it may use
    /// this class, and must not wait for a thread that does. Both calls wait until a running call-back has returned, so
    /// what the old one used may be freed afterwards.
    static void SetUpdateCallback(pfnRkVisitUpdateCallback_t callback);
    static void DeRegisterCallback();

    /// Forgets all contexts; hits are reported again after the users' next visits. Last times are kept.
    static void ClearLastVisit();

    /// Adds an extension, written without its dot.
    /// @return false when it is there already, in whatever case
    static bool AddExt(const char* ext);

    /// @param ext  without its dot
    /// @return whether files of this extension look like pages
    static bool FindExt(const char* ext);

    /// Sets the delay back to ten seconds and adds the default extensions. The other operations call it when they find no
    /// extension at all; so a delay of the caller's own is set after the first use.
    /// @return 0
    static int InitDefaultExtensions();

    /// Seconds without a request after which the next one is a visit; 10 at first.
    static std::atomic<std::time_t> m_VisitDelay;

private:
    /// Where each user of m_LastHit stands: a look-up by hash touches memory twice, a descent of the tree a dozen times.
    using mapPlace_t = std::unordered_map<std::string_view, mapLastHit_t::iterator, RkFoldedHash, RkFoldedEqual>;

    static std::time_t* FindLastHit(const std::string& user);
    static void AddLastHit(const std::string& user, std::time_t now);
    static void ReportHit(const std::string& user, unsigned long a, unsigned long b);

    static mapLastHit_t m_LastHit;                        ///< time of each user's last request; guarded by s_lock
    static mapLastVisit_t m_LastVisit;                    ///< context of each user's last visit; guarded by s_lock
    static setFileExtension_t m_ContainerFileExtensions;  ///< guarded by s_lock

    /// Null when none is registered. Written and called under s_callbackLock; CalcIsVisit looks at it before it takes that
    /// lock, so it is an atomic.
    static std::atomic<pfnRkVisitUpdateCallback_t> m_pfnVisitUpdate;

    static RkCriticalSection s_callbackLock;
    static RkCriticalSection s_lock;
    static mapPlace_t s_places;  ///< refers into m_LastHit; guarded by s_lock
};
