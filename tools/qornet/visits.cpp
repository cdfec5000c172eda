#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>

#include "AccessLogLine.h"
#include "Commands.h"
#include "LineReader.h"
#include "Network/Url/RkVisitHit.h"
#include "VisitTable.h"

namespace {

struct VisitsOptions {
    std::time_t delay = 10;
    std::string file;
};

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

File OpenLog(const std::string& name) {
    if (name.empty() || name == "-")
        return {stdin, [](std::FILE*) { return 0; }};
    File file(std::fopen(name.c_str(), "re"), &std::fclose);
    if (!file)
        throw CommandFailed("cannot open '" + name + "': " + std::strerror(errno));
    return file;
}

/// Tells on a terminal how much of a large file is read; silent elsewhere.
class Progress {
public:
    explicit Progress(std::FILE* file) {
        struct stat status {};
        if (::isatty(STDERR_FILENO) && ::fstat(::fileno(file), &status) == 0 && status.st_size > LARGE)
            m_size = static_cast<RkUInt64>(status.st_size);
    }
    ~Progress() {
        if (m_size != 0)
            std::cerr << "\r\x1b[K" << std::flush;
    }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Show(RkUInt64 position) {
        const RkUInt64 percent = m_size == 0 ? 0 : position * 100 / m_size;
        if (percent > m_shown)
            std::cerr << "\rvisits: " << (m_shown = percent) << " % read" << std::flush;
    }

private:
    static constexpr off_t LARGE = 16 << 20;  ///< bytes
    RkUInt64 m_size = 0;                      ///< 0: nothing is told
    RkUInt64 m_shown = 0;
};

/// The lines that are no requests, for a word at the end.
struct Unparsed {
    RkUInt64 count = 0;
    RkUInt64 first = 0;  ///< its line number
};

void Tell(const Unparsed& unparsed) {
    if (unparsed.count > 0)
        std::cerr << "qornet: " << unparsed.count << " line(s) are no requests in the common or combined log format; "
                  << "the first is line " << unparsed.first << std::endl;
}

void Classify(const AccessLogLine& request, VisitTable& table) {
    static std::string user, url;  // keep their room from line to line
    user = request.user == "-" ? request.client : request.user;
    url.assign("http://host").append(request.target);
    table.Add(user, RkVisitHit::CalcIsVisit(user, url, request.time, 0, 0, nullptr));
}

void CountVisits(const VisitsOptions& options) {
    RkVisitHit::InitDefaultExtensions();
    RkVisitHit::m_VisitDelay = options.delay;

    const File file = OpenLog(options.file);
    LineReader reader(file.get());
    VisitTable table;
    Unparsed unparsed;
    {
        Progress progress(file.get());
        AccessLogLine request;
        std::string_view line;
        for (RkUInt64 number = 1; reader.Next(line); ++number) {
            progress.Show(reader.GetPosition());
            if (request.Parse(line))
                Classify(request, table);
            else if (++unparsed.count == 1)
                unparsed.first = number;
        }
    }
    table.Print(std::cout);
    Tell(unparsed);
}

}  // namespace

void AddVisits(CLI::App& app) {
    const auto options = std::make_shared<VisitsOptions>();
    CLI::App* command = app.add_subcommand("visits", "Count visits and hits of each user in a web access log");
    command->add_option("--delay", options->delay, "Seconds without a request after which the next one is a visit")
        ->check(Within(0, MOST))
        ->capture_default_str();
    command->add_option("FILE", options->file, "The log; standard input if none is named");
    command->footer(
        "Reads the common and the combined log format, as 'qornet serve --access-log' writes it. A user is the log's\n"
        "user field or, where that is '-', the client. A compressed log is read with: zcat FILE | qornet visits");
    command->callback([options] { CountVisits(*options); });
}
