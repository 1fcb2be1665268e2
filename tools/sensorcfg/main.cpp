// sensorcfg: a sensor engineer's desk tool for libsensor-config. It drives
// the library only through its exported interface, as the sensor service does.
#include <android/log.h>

#include <cstdio>

#include "tools/sensorcfg/Commands.h"
#include "tools/sensorcfg/LogTap.h"

int main(int argc, char** argv) {
    // The library's log lines would drown the tool's output; subcommands that
    // need them tap them, and --verbose shows them all on stderr.
    sensorcfg::setVerboseLogs(false);

    CLI::App app{"sensorcfg: check, run and replay libsensor-config on a desk"};
    app.require_subcommand(1);
    bool verbose = false;
    app.add_flag("-v,--verbose", verbose, "show the library's log lines on stderr");
    app.parse_complete_callback([&] { sensorcfg::setVerboseLogs(verbose); });

    int status = sensorcfg::kOk;
    sensorcfg::addLintCommand(app, &status);
    sensorcfg::addPredictCommand(app, &status);
    sensorcfg::addFitCommand(app, &status);
    sensorcfg::addReplayCommand(app, &status);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        const int code = app.exit(e);
        return code == 0 ? sensorcfg::kOk : sensorcfg::kInputError;
    }
    return status;
}
