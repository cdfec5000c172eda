#include "MetricsPage.h"

#include <ostream>
#include <sstream>

#include "Base/QorVersion.h"
#include "Base/RkBStream.h"
#include "ServeServer.h"

namespace {

std::ostream& Describe(std::ostream& out, const char* name, const char* type, const char* help) {
    return out << "# HELP " << name << ' ' << help << "\n# TYPE " << name << ' ' << type << '\n';
}

template <class Number>
void Print(std::ostream& out, const char* name, const char* type, const char* help, Number value) {
    Describe(out, name, type, help) << name << ' ' << value << '\n';
}

void PrintConnections(std::ostream& out, const ServeServer& server) {
    Print(out, "qornet_connections_open", "gauge", "Connections being served or waiting for a thread.",
          server.GetConnectionCount());
    Print(out, "qornet_connections_accepted_total", "counter", "Connections accepted.", server.GetAcceptedCount());
    Print(out, "qornet_connections_refused_total", "counter", "Connections of peers that had too many already.",
          server.GetInvalidCount());
}

void PrintThreads(std::ostream& out, const ServeServer& server) {
    const int idle = server.GetIdleThreads();
    Describe(out, "qornet_pool_threads", "gauge", "Threads of the pool.")
        << "qornet_pool_threads{state=\"busy\"} " << server.GetTotalThreads() - idle << '\n'
        << "qornet_pool_threads{state=\"idle\"} " << idle << '\n';
    Print(out, "qornet_queue_length", "gauge", "Connections that wait for a thread.", server.GetQueuedWork());
}

void PrintAnswers(std::ostream& out, const ServeStatistics& statistics) {
    Describe(out, "qornet_answers_total", "counter", "Answers by status code; 0 is one without status line.");
    for (std::size_t status = 0; status < ServeStatistics::MAX_STATUS; ++status)
        if (const RkUInt64 answers = statistics.GetAnswers(status); answers > 0 || status == 200)
            out << "qornet_answers_total{code=\"" << status << "\"} " << answers << '\n';
    Print(out, "qornet_answer_bytes_total", "counter", "Bytes of all answers' bodies.", statistics.GetBytes());
    Print(out, "qornet_aborted_total", "counter", "Connections that ended before their answer was complete.",
          statistics.GetAborted());
    Describe(out, "qornet_timeouts_total", "counter", "Connections ended because the client was slow.")
        << "qornet_timeouts_total{kind=\"idle\"} " << statistics.GetIdleTimeouts() << '\n'
        << "qornet_timeouts_total{kind=\"head\"} " << statistics.GetHeadTimeouts() << '\n';
}

void PrintLatency(std::ostream& out, const ServeStatistics& statistics) {
    Describe(out, "qornet_answer_seconds", "histogram",
             "Time from the complete request to the last byte of the answer.");
    RkUInt64 upTo = 0;
    for (std::size_t i = 0; i < ServeStatistics::LATENCY_BOUNDS.size(); ++i) {
        upTo += statistics.GetLatencyCount(i);
        out << "qornet_answer_seconds_bucket{le=\"" << ServeStatistics::LATENCY_BOUNDS[i] << "\"} " << upTo << '\n';
    }
    upTo += statistics.GetLatencyCount(ServeStatistics::LATENCY_BOUNDS.size());
    out << "qornet_answer_seconds_bucket{le=\"+Inf\"} " << upTo << '\n';
    out << "qornet_answer_seconds_sum " << statistics.GetLatencySum() << '\n';
    out << "qornet_answer_seconds_count " << upTo << '\n';
}

}  // namespace

void MetricsPage::handleRequest(RkHttpRequest&, RkBStream& stream) {
    std::ostringstream out;
    out.precision(12);
    Describe(out, "qornet_build_info", "gauge", "Always 1; the version is in the label.")
        << "qornet_build_info{version=\"" QOR_VERSION "\"} 1\n";
    Print(out, "qornet_uptime_seconds", "gauge", "Time since the server was started.", m_server.GetUptime());
    PrintConnections(out, m_server);
    PrintThreads(out, m_server);
    PrintAnswers(out, m_server.GetStatistics());
    PrintLatency(out, m_server.GetStatistics());
    stream << "HTTP/1.0 200 OK\r\nContent-Type: text/plain; version=0.0.4; charset=utf-8\r\n\r\n" << out.str();
}
