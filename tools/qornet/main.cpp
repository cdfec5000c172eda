#include "Base/QorVersion.h"
#include "Commands.h"

int main(int argc, char** argv) {
    CLI::App app("The Qor Network library on the command line", "qornet");
    app.set_version_flag("--version", "qornet " QOR_VERSION);
    app.set_help_flag("-h,--help", "Explain the commands and options, then exit");
    app.footer(
        "Data goes to standard output, words to standard error.\n"
        "Exit status: 0 done, 1 failed, 2 wrong usage. More: qornet COMMAND --help");
    app.require_subcommand(1);

    AddServe(app);
    AddUrl(app);
    AddCgi(app);
    AddHash(app);
    AddResolve(app);
    AddEcho(app);
    AddTls(app);
    AddRange(app);
    AddVisits(app);
    AddDirectory(app);
    AddGet(app);
    AddFetch(app);
    return RunCommand(app, argc, argv);
}
