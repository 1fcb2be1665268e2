// sensorcfg replay LOG: feeds a recorded session through the library's
// per-reading path, frame by frame, as the sensor service would:
//   shared globals -> RootFusion::calcCNNLuxDelta (screen light per channel)
//   -> parameter store lookup and weighted rectification -> project lux.
// Writes frames.csv and a self-contained report.html with plots.
#include <unistd.h>
#include <utils/Vector.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "fusion/RootFusion.h"
#include "models/light_regression/LightRegression.h"
#include "param/UnderDisplayLightParam.h"
#include "platform/host/binder/FakeSensorFactory.h"
#include "tools/sensorcfg/Capture.h"
#include "tools/sensorcfg/Commands.h"
#include "tools/sensorcfg/LogTap.h"
#include "tools/sensorcfg/Report.h"
#include "tools/sensorcfg/Session.h"
#include "tools/sensorcfg/StartUp.h"

namespace fs = std::filesystem;
using android::UnderDisplayLightParam;

namespace sensorcfg {

namespace {

struct ReplayOptions {
    std::string log;
    std::string config = "examples/SensorConfig";
    std::string out = "replay";
    bool noFactory = false;
};

struct FrameResult {
    double time;
    int brightness;
    double trueLux;
    double rawLux;           // project lux of the nblk reading (screen light included)
    double blkLux;           // project lux of the blk reading (dark phase)
    double compensatedLux;   // project lux of nblk minus the predicted screen light
    float delta[5];          // screen light per channel c, r, g, b, w
    double rect[4];          // rectified delta r, g, b, c of the parameter store
    std::string mode;        // parameter mode found, or empty
};

// The project lux of a five-channel reading through the library. The
// recorded session carries no host lux, so the channel formula is used at
// every brightness: the facade takes it from brightness code 5514 up.
double projectLux(const double crgbw[5]) {
    double c[5];
    std::copy(crgbw, crgbw + 5, c);
    const int saved = brightness;
    brightness = 14063;
    const double lux = android::RootFusion::getInstance()->calcLuxForProject(c, 0.0f);
    brightness = saved;
    return lux;
}

double percentile(std::vector<double> v, double q) {
    if (v.empty()) return NAN;
    std::sort(v.begin(), v.end());
    const double pos = q * double(v.size() - 1);
    const size_t i = size_t(pos);
    const double f = pos - double(i);
    return i + 1 < v.size() ? v[i] * (1 - f) + v[i + 1] * f : v[i];
}

struct ErrorStats {
    double median = NAN, p95 = NAN;
    size_t count = 0;
};

// Relative error against the true lux, over frames whose true lux is known
// and at least 1 lux (below that, relative error says little).
ErrorStats relativeError(const std::vector<FrameResult>& rs, double FrameResult::*field) {
    std::vector<double> e;
    for (const FrameResult& r : rs)
        if (r.trueLux >= 1.0 && std::isfinite(r.*field)) e.push_back(std::fabs(r.*field - r.trueLux) / r.trueLux);
    ErrorStats s;
    s.count = e.size();
    s.median = percentile(e, 0.5);
    s.p95 = percentile(e, 0.95);
    return s;
}

class Progress {
public:
    explicit Progress(size_t total) : mTotal(total), mOn(isatty(2) && total >= 20) {}
    void update(size_t done) {
        if (!mOn || (done != mTotal && done % 5 != 0)) return;
        const int width = 40;
        const int filled = int(double(done) / double(mTotal) * width);
        std::fprintf(stderr, "\r  [%s%s] %zu/%zu frames", std::string(size_t(filled), '#').c_str(),
                     std::string(size_t(width - filled), ' ').c_str(), done, mTotal);
        if (done == mTotal) std::fprintf(stderr, "\n");
        std::fflush(stderr);
    }

private:
    size_t mTotal;
    bool mOn;
};

std::string fmt(double v, const char* f = "%.2f") {
    if (!std::isfinite(v)) return "n/a";
    char buf[64];
    std::snprintf(buf, sizeof buf, f, v);
    return buf;
}

void writeReport(const std::string& path, const ReplayOptions& o, const Session& s,
                 const std::vector<FrameResult>& rs, const ErrorStats stats[3], bool calibrated, int modesMissing) {
    Plot lux;
    lux.title = "Lux over time";
    lux.xLabel = "time (s)";
    lux.yLabel = "lux";
    lux.logY = true;
    Plot deltas;
    deltas.title = "Screen light predicted per channel (LightRegression)";
    deltas.xLabel = "time (s)";
    deltas.yLabel = "counts";
    Plot rect;
    rect.title = "Rectified screen light (parameter store, weighted)";
    rect.xLabel = "time (s)";
    rect.yLabel = "delta";
    Plot br;
    br.title = "Panel brightness code";
    br.xLabel = "time (s)";
    br.yLabel = "code";
    Series sTrue{"true", "#000000", {}}, sRaw{"raw (nblk)", "#d62728", {}}, sComp{"compensated", "#1f77b4", {}},
            sBlk{"blk reading", "#ff7f0e", {}};
    const char* names[5] = {"c", "r", "g", "b", "w"};
    const char* colours[5] = {"#555555", "#d62728", "#2ca02c", "#1f77b4", "#9467bd"};
    std::vector<Series> d(5), rc(4);
    for (int k = 0; k < 5; ++k) d[k] = {names[k], colours[k], {}};
    const char* rnames[4] = {"r", "g", "b", "c"};
    const char* rcolours[4] = {"#d62728", "#2ca02c", "#1f77b4", "#555555"};
    for (int k = 0; k < 4; ++k) rc[k] = {rnames[k], rcolours[k], {}};
    Series sBr{"brightness", "#8c564b", {}};
    for (const FrameResult& r : rs) {
        lux.x.push_back(r.time);
        sTrue.y.push_back(r.trueLux >= 0 ? r.trueLux : NAN);
        sRaw.y.push_back(r.rawLux);
        sComp.y.push_back(r.compensatedLux);
        sBlk.y.push_back(r.blkLux);
        for (int k = 0; k < 5; ++k) d[k].y.push_back(r.delta[k]);
        for (int k = 0; k < 4; ++k) rc[k].y.push_back(r.rect[k]);
        sBr.y.push_back(r.brightness);
    }
    deltas.x = rect.x = br.x = lux.x;
    lux.series = {sTrue, sRaw, sBlk, sComp};
    deltas.series = d;
    rect.series = rc;
    br.series = {sBr};

    std::ofstream h(path);
    h << "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
      << "<title>sensorcfg replay: " << htmlEscape(s.log) << "</title>\n"
      << "<style>body{font-family:sans-serif;margin:24px;max-width:900px;color:#222}"
      << "table{border-collapse:collapse;margin:8px 0 16px}td,th{border:1px solid #ccc;padding:4px 10px;text-align:right}"
      << "th{background:#f4f4f4}td:first-child,th:first-child{text-align:left}.note{color:#8a5a00}</style>\n"
      << "</head><body>\n<h1>Replay of a recorded session</h1>\n";
    h << "<table><tr><th>log</th><td>" << htmlEscape(s.log) << "</td></tr>"
      << "<tr><th>frames</th><td>" << rs.size() << " over " << fmt(rs.back().time - rs.front().time, "%.1f")
      << " s</td></tr>"
      << "<tr><th>parameter tree</th><td>" << htmlEscape(o.config) << "</td></tr>"
      << "<tr><th>LightRegression weights</th><td>" << htmlEscape(light_regression::weightsSourceName())
      << "</td></tr>"
      << "<tr><th>factory calibration</th><td>"
      << (calibrated ? "installed from the session through the factory-test service" : "none (start-up table)")
      << "</td></tr></table>\n";
    const std::string weights = light_regression::weightsSourceName();
    if (weights.find("untrained") != std::string::npos)
        h << "<p class=\"note\">The compiled-in LightRegression weights are untrained placeholders: the "
             "compensated figures show the pipeline at work, not the accuracy of a trained model.</p>\n";
    else if (weights.find("_sim_") != std::string::npos)
        h << "<p class=\"note\">The compiled-in LightRegression weights were trained on simulated frames "
             "(tools/train); figures on a real panel need weights trained on its captures.</p>\n";
    if (modesMissing > 0)
        h << "<p class=\"note\">" << modesMissing
          << " frames found no parameter mode in the tree; their rectified deltas are zero.</p>\n";
    h << "<h2>Error against the true lux</h2>\n<table><tr><th>reading</th><th>median relative error</th>"
      << "<th>95th percentile</th><th>frames</th></tr>\n";
    const char* labels[3] = {"raw (nblk, screen light included)", "blk reading (dark phase)",
                             "compensated (nblk minus predicted screen light)"};
    for (int i = 0; i < 3; ++i)
        h << "<tr><td>" << labels[i] << "</td><td>" << fmt(100 * stats[i].median, "%.1f %%") << "</td><td>"
          << fmt(100 * stats[i].p95, "%.1f %%") << "</td><td>" << stats[i].count << "</td></tr>\n";
    h << "</table>\n<p>Frames with a true lux below 1 are left out of the error figures. Every reading goes "
         "through the project lux of the library, whose gain curve raises readings above 1000 lux by up to "
         "1.385 times, alike for all of them.</p>\n";
    h << "<h2>Lux</h2>\n" << renderSvg(lux) << "<h2>Screen light</h2>\n" << renderSvg(deltas) << renderSvg(rect)
      << "<h2>Brightness</h2>\n" << renderSvg(br, 860, 220);
    h << "<p>Generated by <code>sensorcfg replay</code>; per-frame values in <code>frames.csv</code>.</p>\n"
      << "</body></html>\n";
}

int runReplay(const ReplayOptions& o) {
    Session s;
    std::string error;
    if (!readSession(o.log, &s, &error)) {
        std::fprintf(stderr, "sensorcfg replay: %s\n", error.c_str());
        return kInputError;
    }
    std::error_code ec;
    const fs::path tree = fs::absolute(o.config, ec);
    if (!fs::is_directory(tree, ec)) {
        std::fprintf(stderr, "sensorcfg replay: %s: not a SensorConfig tree (a directory)\n", o.config.c_str());
        return kInputError;
    }
    fs::create_directories(o.out, ec);
    if (ec) {
        std::fprintf(stderr, "sensorcfg replay: %s: %s\n", o.out.c_str(), ec.message().c_str());
        return kInputError;
    }
    setenv("SENSOR_CONFIG_ROOT", tree.c_str(), 1);

    // Start-up, as the service does it: facade, parameter store, factory data.
    if (startUpService() != 1) {
        std::fprintf(stderr, "sensorcfg replay: the library did not identify panel 1\n");
        return kInputError;
    }
    UnderDisplayLightParam* store = UnderDisplayLightParam::getInstance();
    bool calibrated = false;
    {
        LogTap tap;
        store->underDisplayParamParaseAllMode();
        if (s.hasFactory && !o.noFactory) {
            hostbinder::FakeSensorFactory::Calibration cali;
            std::copy(s.lightRegressionCali, s.lightRegressionCali + 30, cali.begin());
            hostbinder::ScopedFakeSensorFactory service(cali);
            android::RootFusion::getInstance()->updateSixthLightCali();
            calibrated = service->callCount() == 1;
        }
    }

    std::vector<FrameResult> results;
    results.reserve(s.frames.size());
    Progress progress(s.frames.size());
    int modesMissing = 0;
    std::string lastCapturePath;
    Capture cap;
    android::Vector<int> pixels;
    for (size_t i = 0; i < s.frames.size(); ++i) {
        const Frame& f = s.frames[i];
        if (f.capture != lastCapturePath) {
            if (!loadCapture(f.capture, &cap, &error)) {
                std::fprintf(stderr, "\nsensorcfg replay: %s:%d: %s\n", s.log.c_str(), f.line, error.c_str());
                return kInputError;
            }
            lastCapturePath = f.capture;
            pixels.clear();
            pixels.appendArray(cap.rgb.data(), cap.rgb.size());
        }
        brightness = f.brightness;
        displayColorMode = f.displayMode;
        ACL = f.acl;
        displayDcState = f.dcState;
        screenHopMode = f.screenHopMode;
        icScopeWidth = cap.width;
        icScopeHeight = cap.height;
        for (int k = 0; k < 5; ++k) {
            channelsBlk[k] = float(f.blk[k]);
            channelsNblk[k] = float(f.nblk[k]);
        }
        FrameResult r{};
        r.time = f.time;
        r.brightness = f.brightness;
        r.trueLux = f.trueLux;
        LogTap tap;
        android::RootFusion::getInstance()->calcCNNLuxDelta(pixels, f.brightness, cap.width, cap.height, r.delta);
        const UnderDisplayLightParam::UnderLightParamInfo* info =
                store->getCurrentUnderDisplayLightParamMode(ACL, displayColorMode, 0, 0, displayDcState);
        if (info == nullptr) ++modesMissing;
        else r.mode = store->mCurrentParamMode;
        UnderDisplayLightParam::ChannelsDelta cd{0, 0, 0, 0};
        store->calcRecitifyParamDeltaByBrRGBWeight(pixels, 0, 0, &cd);
        r.rect[0] = cd.deltaR;
        r.rect[1] = cd.deltaG;
        r.rect[2] = cd.deltaB;
        r.rect[3] = cd.deltaC;
        double compensated[5];
        for (int k = 0; k < 5; ++k) compensated[k] = f.nblk[k] - r.delta[k];
        r.rawLux = projectLux(f.nblk);
        r.blkLux = projectLux(f.blk);
        r.compensatedLux = projectLux(compensated);
        results.push_back(r);
        progress.update(i + 1);
    }

    const std::string csvPath = (fs::path(o.out) / "frames.csv").string();
    std::ofstream csv(csvPath);
    csv << "time,brightness,mode,true_lux,raw_lux,blk_lux,compensated_lux,delta_c,delta_r,delta_g,delta_b,delta_w,"
           "rect_r,rect_g,rect_b,rect_c\n";
    for (const FrameResult& r : results) {
        char line[512];
        std::snprintf(line, sizeof line, "%.3f,%d,%s,%.4f,%.4f,%.4f,%.4f,%.4f,%.4f,%.4f,%.4f,%.4f,%.6g,%.6g,%.6g,%.6g\n",
                      r.time, r.brightness, r.mode.c_str(), r.trueLux, r.rawLux, r.blkLux, r.compensatedLux,
                      r.delta[0], r.delta[1], r.delta[2], r.delta[3], r.delta[4], r.rect[0], r.rect[1], r.rect[2],
                      r.rect[3]);
        csv << line;
    }
    ErrorStats stats[3] = {relativeError(results, &FrameResult::rawLux), relativeError(results, &FrameResult::blkLux),
                           relativeError(results, &FrameResult::compensatedLux)};
    const std::string reportPath = (fs::path(o.out) / "report.html").string();
    writeReport(reportPath, o, s, results, stats, calibrated, modesMissing);

    std::printf("replayed %zu frames of %s (factory calibration %s)\n", results.size(), s.log.c_str(),
                calibrated ? "installed" : "not installed");
    std::printf("  %-44s %10s %10s %7s\n", "relative error against true lux", "median", "p95", "frames");
    const char* labels[3] = {"raw (nblk)", "blk reading", "compensated (nblk - predicted screen light)"};
    for (int i = 0; i < 3; ++i)
        std::printf("  %-44s %9s%% %9s%% %7zu\n", labels[i], fmt(100 * stats[i].median, "%.1f").c_str(),
                    fmt(100 * stats[i].p95, "%.1f").c_str(), stats[i].count);
    if (modesMissing) std::printf("  %d frames found no parameter mode\n", modesMissing);
    std::printf("per-frame values: %s\nreport: %s\n", csvPath.c_str(), reportPath.c_str());
    return kOk;
}

}  // namespace

void addReplayCommand(CLI::App& app, int* status) {
    auto opts = std::make_shared<ReplayOptions>();
    CLI::App* cmd = app.add_subcommand(
            "replay", "Replay a recorded session (JSON lines) through the library's per-reading path and write a "
                      "per-frame CSV and an HTML report");
    cmd->add_option("log", opts->log, "session folder (session.jsonl, session.json, captures/) or a .jsonl file")
            ->required();
    cmd->add_option("--config", opts->config, "SensorConfig tree (device root)")->capture_default_str();
    cmd->add_option("--out", opts->out, "output folder for frames.csv and report.html")->capture_default_str();
    cmd->add_flag("--no-factory", opts->noFactory, "do not install the session's factory calibration");
    cmd->callback([opts, status] { *status = runReplay(*opts); });
}

}  // namespace sensorcfg
