#include "factory/SplitString.h"

#include <cstdio>
#include <cstdlib>

namespace android {
namespace sensor {

namespace {

// The library is built without exceptions. On the device libc++ ends the
// process with this message when substr is asked for a position past the end;
// libstdc++ on the host would throw instead, so the host build ends the
// process the same way itself.
std::string restAfter(const std::string& s, size_t pos) {
#if !defined(__ANDROID__)
    if (pos > s.size()) {
        std::fprintf(stderr, "out_of_range was thrown in -fno-exceptions mode with message \"%s\"\n",
                     "basic_string");
        std::fflush(stderr);
        std::abort();
    }
#endif
    return s.substr(pos);
}

}  // namespace

void SplitString(const std::string& text, const std::string& separator,
                 std::vector<std::string>& pieces) {
    std::string rest = text;
    size_t p = rest.find(separator);
    while (p != std::string::npos) {
        pieces.push_back(rest.substr(0, p));
        rest = restAfter(rest, p + 1);
        p = rest.find(separator);
    }
    pieces.push_back(rest);
}

}  // namespace sensor
}  // namespace android
