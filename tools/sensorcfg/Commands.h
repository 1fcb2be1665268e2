#pragma once

#include <CLI/CLI.hpp>

namespace sensorcfg {

// Exit status of every subcommand.
enum Exit : int {
    kOk = 0,        // success, nothing to report
    kFindings = 1,  // ran, and found something wrong in what it checked
    kInputError = 2 // usage error, or an input that could not be read
};

// Each subcommand registers itself on the app and stores its exit status in
// *status when it runs.
void addLintCommand(CLI::App& app, int* status);
void addPredictCommand(CLI::App& app, int* status);
void addFitCommand(CLI::App& app, int* status);
void addReplayCommand(CLI::App& app, int* status);

}  // namespace sensorcfg
