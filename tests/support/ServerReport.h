#pragma once

#include <gmock/gmock.h>

#include <sstream>
#include <string>

#include "Diag/RkInspector.h"
#include "Network/Network/RkPrintSelf.h"
#include "tests/support/GroupingLocale.h"

/// What the inspection of an object reports, as "key=text".
template <class Object>
std::string Inspected(Object&& object) {
    struct : kstr::diag::RkInspector {
        void reportMultiLineValue(const std::string& key, const std::string& text) override { all += key + "=" + text; }
        std::string all;
    } inspector;
    object.HandleInspection(inspector);
    return inspector.all;
}

/// Expects a server to print itself at every level as it has always done, whatever the stream's locale, and to report the whole
/// when inspected.
/// @param kind               its name in the report, and its key
/// @param connections,state  patterns of the two parts, as MatchesRegex takes them
template <class Server>
void ExpectReports(Server& server, const std::string& kind, const std::string& connections, const std::string& state) {
    const std::string rule = std::string(70, '-') + "\r\n", all = "connections:\n" + connections + "\r\n" + state;
    const auto expected = [&](int level, const std::string& body) {
        return rule + kind + " - PrintSelf - Level: " + std::to_string(level) + "\r\nTime: [-0-9: ]{19}\r\n" + rule +
               "\r\n" + body + "\r\n";
    };
    int level = -1;
    for (const std::string& body : {std::string(), std::string(), state, state, all, std::string()}) {
        std::ostringstream printed;
        printed.imbue(GroupingLocale());
        server.PrintSelf(printed, static_cast<PrintSelfLevel>(level));
        EXPECT_THAT(printed.str(), testing::MatchesRegex(expected(level++, body)));
    }
    EXPECT_THAT(Inspected(server), testing::MatchesRegex(kind + "=" + expected(RK_PRINT_ALL, all)));
}
