#pragma once

#include <android/log.h>

#include <string>
#include <vector>

namespace sctest {

struct LogLine {
    int priority;
    std::string tag;
    std::string text;
};

// Captures every line written through liblog while it lives (all priorities).
// One capture at a time; lines from other threads are captured too.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<LogLine> lines() const;
    // Texts only, in order.
    std::vector<std::string> texts() const;
    // Texts of lines at this priority and tag.
    std::vector<std::string> texts(int priority, const std::string& tag) const;
    bool contains(const std::string& text) const;
    void clear();
};

}  // namespace sctest
