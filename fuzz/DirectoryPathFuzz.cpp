// Every path is taken; its key is that of the path put together from its parts, and its domains are one another's ends.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "Network/Directory/RkDirectoryPath.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > 4096)  // room grows with the square of the components
        return 0;
    const RkDirectoryPath path(RkWString::FromUtf8(std::string(reinterpret_cast<const char*>(data), size)));
    const RkDirectoryPath again(path.getDSType(), path.getServerName(), path.getDomain(), path.getEnd());
    if (!(path == again) && !path.getPath().empty())
        std::abort();
    for (std::size_t i = 1; i < path.getDomains().size(); ++i)
        if (!path.getDomains()[i - 1].GetText().ends_with(L"," + path.getDomains()[i].GetText()))
            std::abort();
    return 0;
}
