#pragma once

#include <string>
#include <vector>

namespace sensorcfg {

// One line of a plot.
struct Series {
    std::string label;
    std::string color;  // CSS colour
    std::vector<double> y;
};

struct Plot {
    std::string title;
    std::string xLabel;
    std::string yLabel;
    std::vector<double> x;
    std::vector<Series> series;
    bool logY = false;
};

// A self-contained SVG line chart (no scripts, no external resources).
// Non-finite points break the line instead of distorting the axes.
std::string renderSvg(const Plot& plot, int width = 860, int height = 320);

// Escapes text for HTML element content and attribute values.
std::string htmlEscape(const std::string& text);

}  // namespace sensorcfg
