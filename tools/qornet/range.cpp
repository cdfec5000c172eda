#include <boost/lexical_cast/bad_lexical_cast.hpp>
#include <fstream>
#include <iostream>
#include <memory>
#include <vector>

#include "Commands.h"
#include "Network/Network/RkInetRange.h"
#include "Network/Network/RkNetworkException.h"

namespace {

struct RangeOptions {
    std::string range;
    std::vector<std::string> addresses;
};

/// The library's words; those on a prefix that is too long lack their beginning.
std::string Words(const std::exception& error) {
    const std::string words = error.what();
    return words.starts_with(' ') ? "its prefix length" + words : words;
}

/// @param place  where the text stands, for the message
RkInetRange ParseRange(const std::string& text, const std::string& place) {
    try {
        return RkInetRange(text);
    } catch (const boost::bad_lexical_cast&) {
        throw CommandFailed(place + ": '" + text + "' has a prefix length that is no number");
    } catch (const std::exception& error) {
        throw CommandFailed(place + ": '" + text + "' is no range: " + Words(error));
    }
}

/// The ranges of a file, one a line; empty lines and those that begin with # are none.
std::vector<RkInetRange> ReadRanges(std::istream& file, const std::string& name) {
    std::vector<RkInetRange> ranges;
    std::string line;
    for (unsigned number = 1; std::getline(file, line); ++number) {
        if (line.ends_with('\r'))
            line.pop_back();
        if (!line.empty() && line.front() != '#')
            ranges.push_back(ParseRange(line, name + ":" + std::to_string(number)));
    }
    if (file.bad())
        throw CommandFailed("cannot read '" + name + "'");
    return ranges;
}

std::vector<RkInetRange> GetRanges(const std::string& range) {
    std::ifstream file(range);
    return file.is_open() ? ReadRanges(file, range) : std::vector{ParseRange(range, "neither a file nor a range")};
}

bool IsIn(const std::vector<RkInetRange>& ranges, const RkInetAddress& address) {
    for (const RkInetRange& range : ranges)
        if (address.IsInRange(range.GetStart(), range.GetEnd()))
            return true;
    return false;
}

void Test(const RangeOptions& options) {
    const std::vector<RkInetRange> ranges = GetRanges(options.range);
    if (options.addresses.empty())
        for (const RkInetRange& range : ranges)
            PrintField("range", range.ToString());
    for (const std::string& text : options.addresses) {
        RkInetAddress address;
        if (!RkInetAddress::CheckForNumeric(text, address))
            throw CommandFailed("'" + text + "' is no numeric address");
        PrintField(text, IsIn(ranges, address) ? "in" : "out");
    }
}

}  // namespace

void AddRange(CLI::App& app) {
    const auto options = std::make_shared<RangeOptions>();
    CLI::App* command = app.add_subcommand("range", "Parse address ranges and test addresses against them");
    command->add_option("RANGE", options->range, "A range, or a file with a range on each line")->required();
    command->add_option("ADDRESS", options->addresses, "Numeric addresses to test; none prints the ranges");
    command->footer(
        "A range is '192.168.1.7', '10.0.0.1 - 10.0.0.9' or '192.168.1.77/24', which begins at the address as "
        "written.\n"
        "In a file, empty lines and lines that begin with # are skipped.");
    command->callback([options] { Test(*options); });
}
