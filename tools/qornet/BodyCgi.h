#pragma once

#include <string>

#include "Network/HTTP/RkCgi.h"

/// The parameters of a request that also keep the text of the form body they came from.
class BodyCgi : public RkCgi {
public:
    explicit BodyCgi(const RkCgi& query) : RkCgi(query) {}

    using RkCgi::parseData;
    bool parseData(RkBStream& stream, int contentLength) override;

    const std::string& GetBody() const { return m_body; }

private:
    std::string m_body;
};
