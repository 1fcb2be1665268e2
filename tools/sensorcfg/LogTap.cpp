#include "tools/sensorcfg/LogTap.h"

#include <android/log.h>

#include <cstdio>

namespace sensorcfg {

namespace {
std::vector<std::string>* gLines = nullptr;
bool gEcho = false;
bool gVerbose = false;

void tapLogger(const struct __android_logger_data* data, const char* message) {
    if (gLines != nullptr) gLines->push_back(message ? message : "");
    if (gEcho) std::fprintf(stderr, "%s: %s\n", data->tag ? data->tag : "", message ? message : "");
}

void stderrLogger(const struct __android_logger_data* data, const char* message) {
    if (gVerbose) std::fprintf(stderr, "%s: %s\n", data->tag ? data->tag : "", message ? message : "");
}
}  // namespace

LogTap::LogTap(bool echo) {
    gLines = new std::vector<std::string>();
    gEcho = echo || gVerbose;
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(tapLogger);
}

LogTap::~LogTap() {
    __android_log_set_logger(stderrLogger);
    delete gLines;
    gLines = nullptr;
}

const std::vector<std::string>& LogTap::lines() const { return *gLines; }

bool LogTap::contains(const std::string& prefix) const {
    for (const std::string& l : *gLines)
        if (l.compare(0, prefix.size(), prefix) == 0) return true;
    return false;
}

void LogTap::clear() { gLines->clear(); }

bool verboseLogs() { return gVerbose; }

void setVerboseLogs(bool on) {
    gVerbose = on;
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(stderrLogger);
}

}  // namespace sensorcfg
