#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <iomanip>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "Base/RkEvent.h"
#include "Commands.h"
#include "Network/Network/RkBasicConnectionRef.h"
#include "Network/Network/RkHTTPConnectionPool.h"

namespace {

struct Options {
    std::vector<std::string> urls;
    std::vector<std::string> headers;
    unsigned repeat = 1;
    unsigned maximum = 8;
    int timeout = 30;
};

/// Fetches all URLs over one pool, several at once, and keeps what the summary tells.
class Fetcher {
public:
    explicit Fetcher(const Options& options)
        : m_options(options), m_pool(0, options.maximum), m_bodies(PrintsBodies() ? options.urls.size() : 0) {
        for (const std::string& header : options.headers)
            m_pool.AddHeader(header.c_str());
    }

    void Run() {
        std::vector<std::jthread> threads;
        for (std::size_t i = std::min<std::size_t>(m_options.maximum, Total()); i > 0; --i)
            threads.emplace_back([this] { FetchUntilDone(); });
        if (m_showsProgress)
            ShowProgress();
    }

    void PrintSummary() const {
        const double seconds = std::chrono::duration<double>(Clock::now() - m_begin).count();
        std::ostringstream text;
        text << Total() << " requests, " << m_failed << " failed, " << m_bytes << " bytes in " << std::fixed
             << std::setprecision(3) << seconds << " s\n";
        for (const auto& [code, count] : m_codes)
            text << "status " << code << ": " << count << '\n';
        text << "connections opened: " << m_opened << ", reused: " << m_reused << '\n';
        std::cout.flush();
        std::cerr << text.str();
    }

    std::size_t GetFailed() const { return m_failed; }
    std::size_t Total() const { return m_options.urls.size() * m_options.repeat; }

private:
    using Clock = std::chrono::steady_clock;

    bool PrintsBodies() const { return m_options.repeat == 1; }

    /// Bodies and progress on one terminal would garble each other.
    bool ShowsProgress() const { return ::isatty(STDERR_FILENO) && !(PrintsBodies() && ::isatty(STDOUT_FILENO)); }

    void FetchUntilDone() {
        for (std::size_t next; (next = m_next++) < Total();) {
            FetchOne(next % m_options.urls.size());
            if (++m_done == Total())
                m_allDone.Post();
        }
    }

    void FetchOne(std::size_t index) {
        const std::string& url = m_options.urls[index];
        try {
            RkTimePeriod wait(0, 0, 0, m_options.timeout);
            RkBasicConnectionRef lease(m_pool, wait);
            auto& connection = static_cast<RkHTTPConnection&>(*lease.Get());
            connection.Connect(0, url, wait);  // port 0: each URL's own, where another would stick to the connection
            connection.Send();
            Note(index, connection);
        } catch (const std::exception& e) {
            NoteFailure(index, e.what());
        }
    }

    void Note(std::size_t index, RkHTTPConnection& connection) {
        if (connection.GetResponseResult() != RkHTTPConnection::HTTP_NO_ERROR)
            return NoteFailure(index, connection.GetResponseBody());
        const std::lock_guard guard(m_lock);
        ++m_codes[connection.GetResponseCode()];
        m_bytes += connection.GetResponseBody().size();
        ++(connection.GetConnectionsOpened() > 0 ? m_opened : m_reused);
        Print(index, std::move(connection.GetResponseBody()));
    }

    void NoteFailure(std::size_t index, const std::string& why) {
        const std::lock_guard guard(m_lock);
        ++m_failed;
        std::cerr << m_clearLine << "qornet: " << m_options.urls[index] << ": " << why << '\n';
        Print(index, std::string());
    }

    /// Prints the body as soon as all before it are printed. Called under m_lock, so that nobody runs ahead of a slow output.
    void Print(std::size_t index, std::string body) {
        if (!PrintsBodies())
            return;
        m_bodies[index] = std::move(body);
        for (; m_printed < m_bodies.size() && m_bodies[m_printed]; ++m_printed) {
            std::cout << *m_bodies[m_printed];
            m_bodies[m_printed] = std::string();
        }
    }

    void ShowProgress() {
        constexpr unsigned kRefreshMilliSeconds = 200;
        while (!m_allDone.wait(kRefreshMilliSeconds)) {
            const std::lock_guard guard(m_lock);
            std::cerr << m_clearLine << m_done << " of " << Total() << ", " << m_bytes << " bytes" << std::flush;
        }
        std::cerr << m_clearLine;
    }

    const Options& m_options;
    const Clock::time_point m_begin = Clock::now();
    const bool m_showsProgress = ShowsProgress();
    const char* const m_clearLine = m_showsProgress ? "\r\x1b[K" : "";
    RkHTTPConnectionPool m_pool;
    std::atomic<std::size_t> m_next = 0;
    std::atomic<std::size_t> m_done = 0;
    RkEvent m_allDone;
    std::mutex m_lock;  ///< guards what follows, and what is printed
    std::map<int, std::size_t> m_codes;
    std::uint64_t m_bytes = 0;
    std::size_t m_failed = 0;
    std::size_t m_opened = 0;
    std::size_t m_reused = 0;
    std::vector<std::optional<std::string>> m_bodies;  ///< of the URLs in order; none: not there yet
    std::size_t m_printed = 0;                         ///< bodies so far
};

/// What libcurl would drop in silence. @return what is wrong, empty when nothing is
std::string CheckHeader(const std::string& line) {
    const std::size_t name = line.find_first_of(":;");  // "Name;" is a field without value
    return name == 0 || name == line.npos ? "'" + line + "' is no header line: write it as \"Name: value\"" : "";
}

void Fetch(const Options& options) {
    Fetcher fetcher(options);
    fetcher.Run();
    fetcher.PrintSummary();
    if (fetcher.GetFailed() > 0)
        throw CommandFailed(std::to_string(fetcher.GetFailed()) + " of " + std::to_string(fetcher.Total()) +
                            " requests failed");
}

}  // namespace

void AddFetch(CLI::App& app) {
    auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("fetch", "Fetch http and https URLs over a pool of connections");
    command->add_option("URL", options->urls, "The URLs; their bodies are the output, in this order")->required();
    command
        ->add_option("--repeat", options->repeat,
                     "Fetch all so many times; with more than one, bodies are only counted")
        ->check(Within(1, MOST))
        ->type_name("TIMES")
        ->capture_default_str();
    command->add_option("--max", options->maximum, "Connections at a time, at most 1000")
        ->check(Within(1, 1000))
        ->capture_default_str();
    command->add_option("--header", options->headers, "A header line to send (\"Name: value\"); may be given again")
        ->allow_extra_args(false)
        ->check(CheckHeader);
    command->add_option("--timeout", options->timeout, "Seconds for one request; 0: none")
        ->check(Within(0, MOST))
        ->type_name("SECONDS")
        ->capture_default_str();
    command->footer("A summary goes to standard error. An HTTP error status is an answer, not a failure.");
    command->callback([options] { Fetch(*options); });
}
