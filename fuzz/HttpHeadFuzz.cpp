// Whatever bytes come as a head: nothing throws, and no file name can step out of its folder.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "Base/RkStringDevice.h"
#include "Network/HTTP/RkHttpRequestUtils.h"

namespace {

bool IsKnown(const std::string& method) { return method == "GET" || method == "POST" || method == "HEAD"; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    RkStringDevice requestDevice(text), responseDevice(text);
    RkBStream request(requestDevice), response(responseDevice);
    RkHttpRequestUtils head;
    head.ReadRequestHeader(request);
    const std::string file = head.getRequestedFilename();
    if (file.find("../") != file.npos || IsKnown(head.getMethod()) == file.empty())
        std::abort();
    head.getIntValueForName("content-length");
    head.ReadResponseHeader(response);
    if (head.getStatusCode() < 0)
        std::abort();
    return 0;
}
