#include "BodyCgi.h"

#include "Base/RkBStream.h"
#include "Base/RkStringDevice.h"

namespace {

constexpr int MAX_BODY = 131072;

}  // namespace

bool BodyCgi::parseData(RkBStream& stream, int contentLength) {
    if (contentLength <= 0 || contentLength > MAX_BODY)
        return false;
    if (!stream.ReadString(m_body, static_cast<std::size_t>(contentLength)))
        return false;
    return parseData(m_body);
}
