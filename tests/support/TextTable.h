#pragma once

#include <gtest/gtest.h>

#include <sstream>
#include <string>

/// Expects of a table written as "text -> answer | text -> answer" that `ask` answers each text so. Blanks around the signs
/// do not count. @param ask  takes the text; its result is compared as a stream writes it, bool as a word
template <class Ask>
void ExpectRows(Ask ask, const std::string& table) {
    const auto trimmed = [](const std::string& text) {
        const auto first = text.find_first_not_of(' ');
        return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') + 1 - first);
    };
    std::istringstream rows(table);
    for (std::string row; std::getline(rows, row, '|');) {
        const auto arrow = row.find("->");
        std::ostringstream answer;
        answer << std::boolalpha << ask(trimmed(row.substr(0, arrow)));
        EXPECT_EQ(answer.str(), trimmed(row.substr(arrow + 2))) << "in the row '" << row << "'";
    }
}
