#include "tests/support/LogCapture.h"

#include <android/log.h>

#include <mutex>

namespace sctest {

namespace {
std::mutex gMutex;
std::vector<LogLine>* gLines = nullptr;

void captureLogger(const struct __android_logger_data* data, const char* message) {
    std::lock_guard<std::mutex> lock(gMutex);
    if (gLines == nullptr) return;
    gLines->push_back({data->priority, data->tag ? data->tag : "", message ? message : ""});
}

void quietLogger(const struct __android_logger_data*, const char*) {}
}  // namespace

// liblog calls the logger under its own lock, and the logger takes gMutex:
// never swap loggers while holding gMutex, or a line logged on another thread
// at that moment deadlocks.
LogCapture::LogCapture() {
    {
        std::lock_guard<std::mutex> lock(gMutex);
        delete gLines;
        gLines = new std::vector<LogLine>();
    }
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(captureLogger);
}

LogCapture::~LogCapture() {
    __android_log_set_logger(quietLogger);
    std::lock_guard<std::mutex> lock(gMutex);
    delete gLines;
    gLines = nullptr;
}

std::vector<LogLine> LogCapture::lines() const {
    std::lock_guard<std::mutex> lock(gMutex);
    return *gLines;
}

std::vector<std::string> LogCapture::texts() const {
    std::vector<std::string> out;
    for (const LogLine& l : lines()) out.push_back(l.text);
    return out;
}

std::vector<std::string> LogCapture::texts(int priority, const std::string& tag) const {
    std::vector<std::string> out;
    for (const LogLine& l : lines())
        if (l.priority == priority && l.tag == tag) out.push_back(l.text);
    return out;
}

bool LogCapture::contains(const std::string& text) const {
    for (const LogLine& l : lines())
        if (l.text == text) return true;
    return false;
}

void LogCapture::clear() {
    std::lock_guard<std::mutex> lock(gMutex);
    gLines->clear();
}

}  // namespace sctest
