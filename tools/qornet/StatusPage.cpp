#include "StatusPage.h"

#include <algorithm>
#include <iomanip>
#include <ostream>
#include <sstream>

#include "Base/QorVersion.h"
#include "Base/RkBStream.h"
#include "Html.h"
#include "Network/Network/RkDnsCache.h"
#include "ServeServer.h"

namespace {

constexpr std::size_t MAX_ROWS = 200;

constexpr const char* HEAD = R"(<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8"><meta name="viewport" content="width=device-width, initial-scale=1">
<meta http-equiv="refresh" content="2"><title>Status - Qor Network</title><style>
:root { color-scheme: light dark; --ground: #f6f7f9; --sheet: #fff; --ink: #16202c; --soft: #5b6878; --line: #dde2e9; --accent: #0b6e6e; }
@media (prefers-color-scheme: dark) { :root { --ground: #10171e; --sheet: #18222c; --ink: #e4ebf1; --soft: #9aa9b8; --line: #2a3743;
  --accent: #4cc2b8; } }
* { box-sizing: border-box; }
body { margin: 0 auto; max-width: 68rem; padding: 1.5rem; background: var(--ground); color: var(--ink);
  font: 1rem/1.5 system-ui, "DejaVu Sans", sans-serif; }
h1 { font-size: 1.6rem; margin: 0; } h2 { font-size: 1.1rem; margin: 1.8rem 0 .7rem; }
a { color: var(--accent); } p { margin: .2rem 0 0; color: var(--soft); }
.tiles { display: grid; grid-template-columns: repeat(auto-fit, minmax(10rem, 1fr)); gap: .8rem; margin: 1.4rem 0 0; }
.tiles div, table { background: var(--sheet); border: 1px solid var(--line); border-radius: .7rem; }
.tiles div { padding: .8rem 1rem; } dt { color: var(--soft); font-size: .85rem; }
dd { margin: 0; font-size: 1.7rem; font-weight: 650; line-height: 1.25; font-variant-numeric: tabular-nums; }
dd small { font-size: .85rem; font-weight: 400; color: var(--soft); display: block; }
table { width: 100%; border-collapse: separate; border-spacing: 0; overflow: hidden; font-variant-numeric: tabular-nums; }
th, td { text-align: left; padding: .45rem 1rem; border-top: 1px solid var(--line); overflow-wrap: anywhere; }
footer { margin-top: 1.5rem; color: var(--soft); } tr:first-child > * { border-top: 0; } th { color: var(--soft); font-weight: 500; } td.number { text-align: right; }
</style></head><body>
)";

/// @return the latency that a share of all answers stayed below, in words; there is an answer
std::string LatencyBelow(const ServeStatistics& statistics, double share) {
    const auto wanted = share * static_cast<double>(statistics.GetAnswers());
    double seen = 0;
    for (std::size_t i = 0; i < ServeStatistics::LATENCY_BOUNDS.size(); ++i) {
        seen += static_cast<double>(statistics.GetLatencyCount(i));
        if (seen >= wanted) {
            std::ostringstream text;
            text << ServeStatistics::LATENCY_BOUNDS[i] * 1000 << " ms";
            return text.str();
        }
    }
    return "over 10 s";
}

std::string Span(double seconds) {
    std::ostringstream text;
    const auto whole = static_cast<long>(seconds);
    if (whole < 60)
        text << std::fixed << std::setprecision(1) << seconds << " s";
    else if (whole < 3600)
        text << whole / 60 << " min";
    else
        text << whole / 3600 << " h " << whole / 60 % 60 << " min";
    return text.str();
}

/// @return the number with a gap before every three digits
std::string Grouped(RkUInt64 number) {
    std::string text = std::to_string(number);
    for (std::size_t end = text.size(); end > 3; end -= 3)
        text.insert(end - 3, "\u202f");
    return text;
}

void PrintTile(std::ostream& out, const char* name, const std::string& value, const std::string& remark) {
    out << "<div><dt>" << name << "</dt><dd>" << value << "<small>" << EscapeHtml(remark) << "</small></dd></div>\n";
}

void PrintRow(std::ostream& out, const std::string& name, RkUInt64 value) {
    out << "<tr><th>" << EscapeHtml(name) << "</th><td class=\"number\">" << Grouped(value) << "</td></tr>\n";
}

void PrintHeadline(std::ostream& out, const ServeServer& server) {
    out << "<h1>Qor Network</h1><p>" << EscapeHtml(server.GetLocalAddress().ToString()) << ", "
        << EscapeHtml(server.GetState()) << ", up for " << Span(server.GetUptime()) << ", version " QOR_VERSION
        << ", serving " << EscapeHtml(server.GetOptions().root) << "</p>\n";
}

void PrintLatencyTile(std::ostream& out, const ServeStatistics& statistics) {
    constexpr const char* NAME = "half of the answers within";
    if (statistics.GetAnswers() == 0)
        return PrintTile(out, NAME, "-", "no answer yet");
    PrintTile(out, NAME, LatencyBelow(statistics, 0.5), "99 of 100 within " + LatencyBelow(statistics, 0.99));
}

void PrintTiles(std::ostream& out, ServeServer& server) {
    const ServeStatistics& statistics = server.GetStatistics();
    const int idle = server.GetIdleThreads();
    const int total = server.GetTotalThreads();
    out << "<dl class=\"tiles\">\n";
    PrintTile(out, "connections open", Grouped(server.GetConnectionCount()),
              Grouped(server.GetAcceptedCount()) + " accepted so far");
    PrintTile(out, "answers", Grouped(statistics.GetAnswers()), Grouped(statistics.GetBytes()) + " bytes of content");
    PrintLatencyTile(out, statistics);
    PrintTile(out, "pool threads", std::to_string(total),
              std::to_string(total - idle) + " busy, " + std::to_string(server.GetQueuedWork()) + " in the queue");
    out << "</dl>\n";
}

void PrintLookups(std::ostream& out) {
    const RkCacheCounters counters = RkDnsCache::Itself().GetCounters();
    if (counters.count == 0 && counters.hits == 0)
        return;
    PrintRow(out, "name look-ups answered from the cache", counters.hits);
    PrintRow(out, "names in the cache", counters.count);
}

void PrintCounters(std::ostream& out, ServeServer& server) {
    const ServeStatistics& statistics = server.GetStatistics();
    out << "<h2>Counters</h2><table>\n";
    for (std::size_t status = 0; status < ServeStatistics::MAX_STATUS; ++status)
        if (statistics.GetAnswers(status) > 0)
            PrintRow(out, "answers with status " + std::to_string(status), statistics.GetAnswers(status));
    PrintRow(out, "ended before their answer was complete", statistics.GetAborted());
    PrintRow(out, "ended because the client was silent", statistics.GetIdleTimeouts());
    PrintRow(out, "ended because the head was late", statistics.GetHeadTimeouts());
    PrintRow(out, "refused because the peer had too many", server.GetInvalidCount());
    PrintLookups(out);
    out << "</table>\n";
}

void PrintConnections(std::ostream& out, const ServeServer& server) {
    const std::vector<ServeServer::Connection> connections = server.GetConnections();
    out << "<h2>Live connections</h2><table><tr><th>peer</th><th>phase</th><th>age</th></tr>\n";
    for (std::size_t i = 0; i < std::min(connections.size(), MAX_ROWS); ++i)
        out << "<tr><td>" << EscapeHtml(connections[i].peer.ToString()) << "</td><td>"
            << EscapeHtml(connections[i].phase) << "</td><td>" << Span(connections[i].age) << "</td></tr>\n";
    out << "</table>\n";
    if (connections.size() > MAX_ROWS)
        out << "<p>and " << connections.size() - MAX_ROWS << " more</p>\n";
}

}  // namespace

void StatusPage::handleRequest(RkHttpRequest&, RkBStream& stream) {
    std::ostringstream out;
    out << HEAD;
    PrintHeadline(out, m_server);
    PrintTiles(out, m_server);
    PrintCounters(out, m_server);
    PrintConnections(out, m_server);
    out << "<footer>Loaded anew every two seconds. The same <a href=\"/status.txt\">as text</a> and "
           "<a href=\"/metrics\">for machines</a>; back to <a href=\"/\">the site</a>.</footer>\n</body></html>\n";
    stream << "HTTP/1.0 200 OK\r\nContent-Type: text/html; charset=utf-8\r\nCache-Control: no-store\r\n\r\n"
           << out.str();
}
