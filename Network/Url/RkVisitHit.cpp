#include "Network/Url/RkVisitHit.h"

#include <iterator>

#include "Base/RkSemLock.h"
#include "Base/RkTypes.h"
#include "Network/Url/RkUrl.h"

namespace {

constexpr std::time_t DEFAULT_DELAY = 10;

constexpr const char* DEFAULT_EXTENSIONS[] = {
    "adp", "asp", "aspx", "asx",  "cfm",   "cgi", "dll", "doc",  "exe",   "htm", "html", "jsp",  "jhtml", "msnw", "nsf",
    "pdf", "php", "php3", "php4", "phtml", "pl",  "py",  "rxml", "shtml", "stm", "swf",  "text", "txt",   "xml",  "xsl",
};

/// Whether a user last seen at `last` is within `delay` seconds of it; a clock that went backwards counts so.
bool IsRecent(std::time_t last, std::time_t now, std::time_t delay) {
    if (last > now)
        return true;
    const auto passed = static_cast<RkUInt64>(now) - static_cast<RkUInt64>(last);  // may exceed the signed range
    return delay > 0 && passed < static_cast<RkUInt64>(delay);
}

}  // namespace

std::atomic<std::time_t> RkVisitHit::m_VisitDelay{DEFAULT_DELAY};
RkVisitHit::mapLastHit_t RkVisitHit::m_LastHit;
RkVisitHit::mapLastVisit_t RkVisitHit::m_LastVisit;
RkVisitHit::setFileExtension_t RkVisitHit::m_ContainerFileExtensions;
std::atomic<pfnRkVisitUpdateCallback_t> RkVisitHit::m_pfnVisitUpdate{nullptr};
RkVisitHit::mapPlace_t RkVisitHit::s_places;
RkCriticalSection RkVisitHit::s_callbackLock;
RkCriticalSection RkVisitHit::s_lock;

bool RkVisitHit::CalcIsVisit(std::string& user, std::string& url, std::time_t now, unsigned long a, unsigned long b,
                             void* context) {
    const RkSemLock guard(s_lock);
    std::time_t* const last = FindLastHit(user);
    const bool visit = last == nullptr || !IsRecent(*last, now, m_VisitDelay) || IsUrlAContainer(url);
    if (last != nullptr)
        *last = now;
    else
        AddLastHit(user, now);

    if (visit && m_pfnVisitUpdate.load() != nullptr)
        m_LastVisit[user] = context;
    else
        ReportHit(user, a, b);
    return visit;
}

std::time_t* RkVisitHit::FindLastHit(const std::string& user) {
    const auto place = s_places.find(user);
    return place == s_places.end() ? nullptr : &place->second->second;
}

void RkVisitHit::AddLastHit(const std::string& user, std::time_t now) {
    const auto entry = m_LastHit.emplace(user, now).first;
    s_places.emplace(entry->first, entry);
}

void RkVisitHit::ReportHit(const std::string& user, unsigned long a, unsigned long b) {
    const RkSemLock guard(s_callbackLock);
    const auto callback = m_pfnVisitUpdate.load();
    if (callback == nullptr)
        return;
    if (const auto visit = m_LastVisit.find(user); visit != m_LastVisit.end())
        callback(a, b, visit->second);
}

bool RkVisitHit::IsUrlAContainer(const std::string& url) {
    RkUrl::enableDnsLookup(false);
    const RkUrl parsed(url);
    std::string_view file = parsed.getFilename();
    file = file.substr(0, file.find_first_of("?;@"));
    const std::size_t dot = file.rfind('.');
    if (dot == file.npos)
        return true;
    const std::string extension(file.substr(dot + 1));
    return extension.find('/') != extension.npos || FindExt(extension.c_str());
}

void RkVisitHit::SetUpdateCallback(pfnRkVisitUpdateCallback_t callback) {
    const RkSemLock guard(s_callbackLock);
    m_pfnVisitUpdate = callback;
}

void RkVisitHit::DeRegisterCallback() { SetUpdateCallback(nullptr); }

void RkVisitHit::ClearLastVisit() {
    const RkSemLock guard(s_lock);
    m_LastVisit.clear();
}

bool RkVisitHit::AddExt(const char* ext) {
    const RkSemLock guard(s_lock);
    return !FindExt(ext) && m_ContainerFileExtensions.emplace(ext).second;
}

bool RkVisitHit::FindExt(const char* ext) {
    const RkSemLock guard(s_lock);
    if (m_ContainerFileExtensions.empty())
        InitDefaultExtensions();
    return m_ContainerFileExtensions.contains(std::string_view(ext));
}

int RkVisitHit::InitDefaultExtensions() {
    const RkSemLock guard(s_lock);
    m_VisitDelay = DEFAULT_DELAY;
    m_ContainerFileExtensions.insert(std::begin(DEFAULT_EXTENSIONS), std::end(DEFAULT_EXTENSIONS));
    return 0;
}
