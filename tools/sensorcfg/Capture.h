#pragma once

#include <string>
#include <vector>

namespace sensorcfg {

// A screen capture as the host hands it to the library: width x height pixels,
// row-major, three integers per pixel (red, green, blue).
struct Capture {
    int width = 0;
    int height = 0;
    std::vector<int> rgb;
};

// Loads a PNG (8 or 16 bit, grey, palette, RGB or RGBA; 16-bit samples are
// reduced to 8, alpha is dropped), a binary PPM (P6, as the simulator writes)
// or a raw integer dump:
//
//   # comments start with '#'
//   WIDTH HEIGHT
//   R G B R G B ...        (WIDTH * HEIGHT * 3 integers, any white space)
//
// The format is chosen by content (PNG signature, "P6"), not by name. On error
// returns false with a message naming the file and, for dumps, the line.
bool loadCapture(const std::string& path, Capture* out, std::string* error);

}  // namespace sensorcfg
