#pragma once

#include <string>
#include <vector>

namespace sensorcfg {

// Collects the library's log lines while it lives, so that a subcommand can
// turn them into findings. With `echo`, lines also go to stderr.
class LogTap {
public:
    explicit LogTap(bool echo = false);
    ~LogTap();
    LogTap(const LogTap&) = delete;
    LogTap& operator=(const LogTap&) = delete;

    const std::vector<std::string>& lines() const;
    bool contains(const std::string& prefix) const;  // some line starts with it
    void clear();
};

// Whether --verbose was given (the tap then echoes).
bool verboseLogs();
void setVerboseLogs(bool on);

}  // namespace sensorcfg
