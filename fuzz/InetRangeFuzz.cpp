// A text is a range or is refused with one of the documented exceptions; a range's own text is that range.
#include <netdb.h>

#include <boost/lexical_cast.hpp>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "Network/Network/RkInetRange.h"
#include "Network/Network/RkNetworkException.h"

// Names resolve to nothing: no query leaves the machine.
extern "C" int getaddrinfo(const char*, const char*, const addrinfo*, addrinfo**) { return EAI_NONAME; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::string range;
    try {
        range = RkInetRange(text).ToString();
    } catch (const RkInetRange::RkInvalidRange&) {
        return 0;
    } catch (const RkNetworkException&) {
        return 0;
    } catch (const boost::bad_lexical_cast&) {
        return 0;
    }
    if (RkInetRange(range).ToString() != range)
        std::abort();
    return 0;
}
