#include "tools/sensorcfg/Report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>
#include <vector>

namespace sensorcfg {

namespace {

std::string num(double v) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.1f", v);
    return buf;
}

// Tick label with a sensible number of digits for the axis span.
std::string tick(double v, double span) {
    char buf[32];
    if (span >= 100 || v == std::floor(v))
        std::snprintf(buf, sizeof buf, "%.0f", v);
    else if (span >= 1)
        std::snprintf(buf, sizeof buf, "%.1f", v);
    else
        std::snprintf(buf, sizeof buf, "%.3g", v);
    return buf;
}

// 1, 2 or 5 times a power of ten, giving about `count` steps over `span`.
double niceStep(double span, int count) {
    double raw = span / count;
    double p = std::pow(10.0, std::floor(std::log10(raw)));
    for (double m : {1.0, 2.0, 5.0, 10.0})
        if (raw <= m * p) return m * p;
    return 10 * p;
}

}  // namespace

std::string htmlEscape(const std::string& text) {
    std::string out;
    for (char c : text) {
        switch (c) {
            case '&': out += "&amp;"; break;
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            case '"': out += "&quot;"; break;
            case '\'': out += "&#39;"; break;
            default: out += c;
        }
    }
    return out;
}

std::string renderSvg(const Plot& plot, int width, int height) {
    const double left = 70, right = 150, top = 30, bottom = 45;
    const double pw = width - left - right, ph = height - top - bottom;
    auto ty = [&](double v) { return plot.logY ? std::log10(std::max(v, 1e-3)) : v; };

    double xmin = INFINITY, xmax = -INFINITY, ymin = INFINITY, ymax = -INFINITY;
    for (double v : plot.x)
        if (std::isfinite(v)) xmin = std::min(xmin, v), xmax = std::max(xmax, v);
    for (const Series& s : plot.series)
        for (double v : s.y)
            if (std::isfinite(v) && (!plot.logY || v > 0)) ymin = std::min(ymin, ty(v)), ymax = std::max(ymax, ty(v));
    if (!std::isfinite(xmin)) xmin = 0, xmax = 1;
    if (!std::isfinite(ymin)) ymin = 0, ymax = 1;
    if (!plot.logY && ymin > 0 && ymin < 0.5 * ymax) ymin = 0;
    if (xmax == xmin) xmax = xmin + 1;
    if (ymax == ymin) ymax = ymin + 1;
    const double ypad = (ymax - ymin) * 0.05;
    ymax += ypad;
    if (ymin != 0) ymin -= ypad;

    auto px = [&](double v) { return left + (v - xmin) / (xmax - xmin) * pw; };
    auto py = [&](double v) { return top + ph - (ty(v) - ymin) / (ymax - ymin) * ph; };
    auto pyRaw = [&](double t) { return top + ph - (t - ymin) / (ymax - ymin) * ph; };

    std::ostringstream o;
    o << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << width << "\" height=\"" << height
      << "\" viewBox=\"0 0 " << width << " " << height << "\" font-family=\"sans-serif\" font-size=\"12\">\n";
    o << "<title>" << htmlEscape(plot.title) << "</title>\n";
    o << "<rect x=\"0\" y=\"0\" width=\"" << width << "\" height=\"" << height << "\" fill=\"white\"/>\n";
    o << "<text x=\"" << left << "\" y=\"18\" font-size=\"14\" font-weight=\"bold\">" << htmlEscape(plot.title)
      << "</text>\n";
    // Grid and ticks: 1, 2 and 5 of each decade on a log axis.
    std::vector<double> yticks;
    if (plot.logY) {
        for (double decade = std::floor(ymin); decade <= std::ceil(ymax); ++decade)
            for (double m : {1.0, 2.0, 5.0}) {
                const double t = decade + std::log10(m);
                if (t >= ymin && t <= ymax) yticks.push_back(t);
            }
    } else {
        const double ys = niceStep(ymax - ymin, 5);
        for (double t = std::ceil(ymin / ys) * ys; t <= ymax + 1e-9; t += ys) yticks.push_back(t);
    }
    for (double t : yticks) {
        o << "<line x1=\"" << num(left) << "\" x2=\"" << num(left + pw) << "\" y1=\"" << num(pyRaw(t)) << "\" y2=\""
          << num(pyRaw(t)) << "\" stroke=\"#e4e4e4\"/>";
        std::string label = plot.logY ? tick(std::round(std::pow(10.0, t) * 1e6) / 1e6, std::pow(10.0, t))
                                      : tick(t, ymax - ymin);
        o << "<text x=\"" << num(left - 6) << "\" y=\"" << num(pyRaw(t) + 4) << "\" text-anchor=\"end\">" << label
          << "</text>\n";
    }
    const double xs = niceStep(xmax - xmin, 8);
    for (double t = std::ceil(xmin / xs) * xs; t <= xmax + 1e-9; t += xs) {
        o << "<line x1=\"" << num(px(t)) << "\" x2=\"" << num(px(t)) << "\" y1=\"" << num(top) << "\" y2=\""
          << num(top + ph) << "\" stroke=\"#f0f0f0\"/>";
        o << "<text x=\"" << num(px(t)) << "\" y=\"" << num(top + ph + 16) << "\" text-anchor=\"middle\">"
          << tick(t, xmax - xmin) << "</text>\n";
    }
    o << "<rect x=\"" << left << "\" y=\"" << top << "\" width=\"" << pw << "\" height=\"" << ph
      << "\" fill=\"none\" stroke=\"#888\"/>\n";
    o << "<text x=\"" << num(left + pw / 2) << "\" y=\"" << height - 8 << "\" text-anchor=\"middle\">"
      << htmlEscape(plot.xLabel) << "</text>\n";
    o << "<text transform=\"translate(16," << num(top + ph / 2) << ") rotate(-90)\" text-anchor=\"middle\">"
      << htmlEscape(plot.yLabel) << (plot.logY ? " (log)" : "") << "</text>\n";
    // Lines, broken at non-finite points.
    for (size_t k = 0; k < plot.series.size(); ++k) {
        const Series& s = plot.series[k];
        std::string d;
        bool pen = false;
        for (size_t i = 0; i < s.y.size() && i < plot.x.size(); ++i) {
            double v = s.y[i];
            if (!std::isfinite(v) || !std::isfinite(plot.x[i]) || (plot.logY && v <= 0)) {
                pen = false;
                continue;
            }
            d += (pen ? "L" : "M") + num(px(plot.x[i])) + " " + num(py(v)) + " ";
            pen = true;
        }
        o << "<path class=\"series\" d=\"" << d << "\" fill=\"none\" stroke=\"" << htmlEscape(s.color)
          << "\" stroke-width=\"1.5\"/>\n";
        const double ly = top + 14 + 18 * k;
        o << "<line x1=\"" << num(left + pw + 12) << "\" x2=\"" << num(left + pw + 32) << "\" y1=\"" << num(ly - 4)
          << "\" y2=\"" << num(ly - 4) << "\" stroke=\"" << htmlEscape(s.color) << "\" stroke-width=\"2\"/>";
        o << "<text x=\"" << num(left + pw + 38) << "\" y=\"" << num(ly) << "\">" << htmlEscape(s.label)
          << "</text>\n";
    }
    o << "</svg>\n";
    return o.str();
}

}  // namespace sensorcfg
