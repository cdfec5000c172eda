// Whatever a URL holds, what an object held before makes no difference, and no operation on it throws.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "Network/Url/RkUrl.h"

static bool SameParts(const RkUrl& a, const RkUrl& b) {
    return a.getProtocol() == b.getProtocol() && a.getUserInfo() == b.getUserInfo() &&
           a.getPassWord() == b.getPassWord() && a.getHostname() == b.getHostname() && a.getPort() == b.getPort() &&
           a.getFilename() == b.getFilename() && a.getExtension() == b.getExtension() &&
           a.getAnchor() == b.getAnchor() && a.getUnescapedUrl() == b.getUnescapedUrl();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const RkUrl fresh(text);
    RkUrl url("https://u:p@[::1]:8/d/./e.f?g#h");
    url.setUrl(text);
    if (!SameParts(fresh, url))
        std::abort();
    url.normalizeHostname();
    url.setHostname(url.getHostname());
    url.setHostname(text);
    url.setUrl(url.getUnescapedUrl());
    return 0;
}
