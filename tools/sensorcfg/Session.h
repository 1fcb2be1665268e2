#pragma once

#include <string>
#include <vector>

namespace sensorcfg {

// One frame of a recorded session (JSON lines, one object per frame; the
// screen-leakage simulator writes this format, see tools/sim/README.md).
struct Frame {
    int line = 0;        // line in the log, for messages
    double time = 0;     // seconds
    int brightness = 0;  // panel brightness code
    int displayMode = 0;
    int acl = 1;
    int dcState = 0;
    int screenHopMode = 0;
    double blk[5] = {0, 0, 0, 0, 0};   // c, r, g, b, w
    double nblk[5] = {0, 0, 0, 0, 0};
    std::string capture;  // path of the capture, resolved against the log's folder
    double trueLux = -1;  // ambient lux when known, else negative
};

struct Session {
    std::string dir;   // folder of the log
    std::string log;   // the JSON-lines file
    std::vector<Frame> frames;
    bool hasFactory = false;
    float lightRegressionCali[30] = {};  // [colour][group][channel], as the factory service sends it
};

// Reads DIR/session.jsonl (and DIR/session.json for the unit's factory data)
// or a .jsonl file directly. Every error names the file and line.
bool readSession(const std::string& path, Session* out, std::string* error);

}  // namespace sensorcfg
