#include "AccessLogLine.h"

#include <algorithm>
#include <charconv>
#include <chrono>

namespace {

using std::string_view;

bool IsDigits(string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// Takes the text up to `separator` from the front of `rest`, and the separator with it.
bool TakeUntil(string_view& rest, string_view separator, string_view& text) {
    const std::size_t end = rest.find(separator);
    if (end == rest.npos)
        return false;
    text = rest.substr(0, end);
    rest.remove_prefix(end + separator.size());
    return !text.empty();
}

/// Takes the rest of a quoted text, whose opening quote was taken. Quotes inside it have a backslash before them.
bool TakeQuoted(string_view& rest, string_view& text) {
    std::size_t i = rest.find_first_of("\"\\");
    while (i != rest.npos && rest[i] == '\\')
        i = rest.find_first_of("\"\\", i + 2);  // behind what the backslash escapes
    if (i == rest.npos)
        return false;
    text = rest.substr(0, i);
    rest.remove_prefix(i + 1);
    return true;
}

bool ReadNumber(string_view text, int& number) {
    if (!IsDigits(text))
        return false;
    return std::from_chars(text.data(), text.data() + text.size(), number).ec == std::errc();
}

std::chrono::month ReadMonth(string_view name) {
    constexpr string_view NAMES = "JanFebMarAprMayJunJulAugSepOctNovDec";
    const std::size_t place = NAMES.find(name);
    const bool known = place != NAMES.npos && place % 3 == 0;
    return std::chrono::month(known ? static_cast<unsigned>(place / 3 + 1) : 0);
}

/// "-0700" in seconds east of Greenwich.
bool ReadZone(string_view text, int& seconds) {
    int hours, minutes;
    if ((text[0] != '+' && text[0] != '-') || !ReadNumber(text.substr(1, 2), hours) ||
        !ReadNumber(text.substr(3, 2), minutes))
        return false;
    seconds = (text[0] == '-' ? -60 : 60) * (hours * 60 + minutes);
    return true;
}

/// "10/Oct/2000:13:55:36 -0700".
bool ReadTime(string_view text, std::time_t& time) {
    int day, year, hour, minute, second, zone;
    if (text.size() != 26 || text[2] != '/' || text[6] != '/' || text[11] != ':' || text[14] != ':' ||
        text[17] != ':' || text[20] != ' ')
        return false;
    if (!ReadNumber(text.substr(0, 2), day) || !ReadNumber(text.substr(7, 4), year) ||
        !ReadNumber(text.substr(12, 2), hour) || !ReadNumber(text.substr(15, 2), minute) ||
        !ReadNumber(text.substr(18, 2), second) || !ReadZone(text.substr(21), zone))
        return false;
    const auto date =
        std::chrono::year(year) / ReadMonth(text.substr(3, 3)) / std::chrono::day(static_cast<unsigned>(day));
    if (!date.ok() || hour > 23 || minute > 59 || second > 60)  // a leap second counts as the next minute's first
        return false;
    const std::chrono::seconds days = std::chrono::sys_days(date).time_since_epoch();
    time = days.count() + hour * 3600 + minute * 60 + second - zone;
    return true;
}

/// The target of "GET /a.html HTTP/1.0"; of "GET /a.html", too.
bool ReadTarget(string_view request, string_view& target) {
    string_view method;
    if (!TakeUntil(request, " ", method))
        return false;
    const std::size_t protocol = request.rfind(" HTTP/");
    target = request.substr(0, protocol);
    return !target.empty();
}

bool SkipStatusAndSize(string_view& rest) {
    string_view status;
    if (!rest.starts_with(' '))
        return false;
    rest.remove_prefix(1);
    if (!TakeUntil(rest, " ", status) || status.size() != 3 || !IsDigits(status))
        return false;
    const string_view size = rest.substr(0, rest.find(' '));
    rest.remove_prefix(size.size());
    return size == "-" || IsDigits(size);
}

/// What the combined format adds: two more quoted texts.
bool SkipRefererAndAgent(string_view& rest) {
    string_view text;
    for (int i = 0; i < 2; ++i) {
        if (!rest.starts_with(" \""))
            return false;
        rest.remove_prefix(2);
        if (!TakeQuoted(rest, text))
            return false;
    }
    return rest.empty() || rest.front() == ' ';
}

}  // namespace

bool AccessLogLine::Parse(string_view line) {
    string_view identity, stamp, request;
    return TakeUntil(line, " ", client) && TakeUntil(line, " ", identity) && TakeUntil(line, " [", user) &&
           TakeUntil(line, "] \"", stamp) && ReadTime(stamp, time) && TakeQuoted(line, request) &&
           ReadTarget(request, target) && SkipStatusAndSize(line) && (line.empty() || SkipRefererAndAgent(line));
}
