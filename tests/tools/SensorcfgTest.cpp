// End-to-end tests of the sensorcfg tool: each runs the binary on a small
// fixture and checks its exit status and the lines a user relies on.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>
#include <png.h>
#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/TestEnv.h"

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

struct ToolRun {
    int status;
    std::string out;  // stdout and stderr together
};

ToolRun sensorcfg(const std::string& args) {
    std::string cmd = std::string(SC_SENSORCFG) + " " + args + " 2>&1";
    FILE* p = popen(cmd.c_str(), "r");
    std::string out;
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
    int status = pclose(p);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out};
}

std::string slurp(const std::string& path) {
    std::ifstream in(path);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

std::string sample() { return sctest::sourceDir() + "/examples/SensorConfig"; }

// Sixteen samples of a Gaussian spot centred at (cx, cy) on the factory grid.
std::string spotCsv(double cx, double cy) {
    std::string out = "x,y,z\n";
    for (int j = 0; j < 4; ++j)
        for (int i = 0; i < 4; ++i) {
            double x = 817 + 6 * i, y = 75 + 6 * j;
            double z = 300 * std::exp(-((x - cx) * (x - cx) / (2 * 64.0) + (y - cy) * (y - cy) / (2 * 81.0)));
            out += std::to_string(x) + "," + std::to_string(y) + "," + std::to_string(z) + "\n";
        }
    return out;
}

void writePng(const std::string& path, int w, int h, unsigned char value) {
    FILE* f = fopen(path.c_str(), "wb");
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, f);
    png_set_IHDR(png, info, w, h, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    std::vector<unsigned char> row(size_t(w) * 3, value);
    for (int y = 0; y < h; ++y) png_write_row(png, row.data());
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    fclose(f);
}

class Sensorcfg : public ::testing::Test {
public:
    // A copy of the sample tree that a test may break.
    std::string tree() {
        if (!fs::exists(dir.path() + "/tree")) fs::copy(sample(), dir.path() + "/tree", fs::copy_options::recursive);
        return dir.path() + "/tree";
    }
    std::string modeFile(const std::string& mode, const char* under = "system/etc") {
        return tree() + "/" + under + "/SensorConfig/underlight_" + mode + ".json";
    }
    // Rewrites the JSON file at `path` through `edit`.
    void editJson(const std::string& path, const std::function<void(Json::Value&)>& edit) {
        Json::Value root;
        std::ifstream(path) >> root;
        edit(root);
        std::ofstream(path) << Json::FastWriter().write(root);
    }
    // A small session in the recorded format, a grey screen brightening; the
    // third line replaced by `third` when given.
    std::string session(int frames, const char* third = nullptr) {
        dir.write("session/captures/000000.ppm", "P6\n50 80\n255\n" + std::string(50 * 80 * 3, char(90)));
        std::string log;
        for (int i = 0; i < frames; ++i) {
            char line[512];
            std::snprintf(line, sizeof line,
                          "{\"frame\": %d, \"time\": %.1f, \"brightness\": %d, \"display_mode\": 0, \"acl\": 1, "
                          "\"dc_state\": 0, \"screen_hop_mode\": 0, \"blk\": [900, 300, 700, 200, 1000], "
                          "\"nblk\": [1500, 500, 1100, 350, 1600], %s\"lux\": 120.0}\n",
                          i, 0.1 * i, 6000 + 100 * i, i == 0 ? "\"capture\": \"captures/000000.ppm\", " : "");
            log += i == 2 && third ? std::string(third) + "\n" : line;
        }
        dir.write("session/session.jsonl", log);
        return dir.path() + "/session";
    }
    std::string replay(const std::string& session) {
        return "replay " + session + " --config " + sample() + " --out " + dir.path() + "/out";
    }
    sctest::TempDir dir;
};

// ---- Findings and failures: exit status and the line that names the problem

struct Failure {
    const char* name;
    std::function<std::string(Sensorcfg&)> setup;  // writes the fixture, returns the arguments
    int status;
    std::vector<std::string> expected;
};

class SensorcfgFailure : public Sensorcfg, public ::testing::WithParamInterface<Failure> {};

TEST_P(SensorcfgFailure, IsReportedWithWhere) {
    ToolRun r = sensorcfg(GetParam().setup(*this));
    EXPECT_EQ(r.status, GetParam().status) << r.out;
    for (const std::string& e : GetParam().expected) EXPECT_THAT(r.out, HasSubstr(e));
}

// Lint after `edit` of a mode object in the tree's copy.
std::function<std::string(Sensorcfg&)> lintEdited(const std::string& mode, std::function<void(Json::Value&)> edit) {
    return [=](Sensorcfg& t) {
        t.editJson(t.modeFile(mode), [&](Json::Value& root) { edit(root[mode]); });
        return "lint " + t.tree();
    };
}
// Lint with a mode file replaced by `text` ("" removes it).
std::function<std::string(Sensorcfg&)> lintWith(const std::string& mode, const std::string& text) {
    return [=](Sensorcfg& t) {
        if (text.empty())
            fs::remove(t.modeFile(mode));
        else
            std::ofstream(t.modeFile(mode)) << text;
        return "lint " + t.tree();
    };
}
std::function<std::string(Sensorcfg&)> args(const std::string& a) {
    return [=](Sensorcfg&) { return a; };
}
// Runs `command` on a file holding `text`.
std::function<std::string(Sensorcfg&)> onFile(const std::string& command, const std::string& file,
                                               const std::string& text, const std::string& more = "") {
    return [=](Sensorcfg& t) { return command + " " + t.dir.write(file, text) + more; };
}
// Replays a three-frame session whose third line is `third`.
std::function<std::string(Sensorcfg&)> replayWithThird(const std::string& third) {
    return [=](Sensorcfg& t) { return t.replay(t.session(3, third.c_str())); };
}
const char* kPredict = "predict --model lightreg";

INSTANTIATE_TEST_SUITE_P(
        Cases, SensorcfgFailure,
        ::testing::Values(
                Failure{"lint_missing", lintWith("param02000", ""), 1, {"param02000   [missing] "}},
                Failure{"lint_invalid_json", lintWith("param01000", "{\n  \"param01000\": {\n    \"red\": [1, 2,,\n"), 1,
                        {"[invalid] /system/etc/SensorConfig/underlight_param01000.json: invalid JSON at line 3, column"}},
                Failure{"lint_no_mode_object", lintWith("param01001", "{\"other\": {}}"), 1, {"no \"param01001\" object"}},
                Failure{"lint_short_table", lintEdited("param03000", [](Json::Value& m) { m["red"].resize(55); }), 1,
                        {"\"red\" has 55 rows, expected 56"}},
                Failure{"lint_long_row0", lintEdited("param03001", [](Json::Value& m) { m["ir"][0].append(1.0); }), 1,
                        {"\"ir\" row 0 has 8 numbers, expected 7"}},
                Failure{"lint_short_later_row", lintEdited("param04000", [](Json::Value& m) { m["green"][5].resize(6); }),
                        0, {"warning: \"green\" row 5 has 6 numbers, not 7"}},
                Failure{"lint_sections_absent",
                        lintEdited("param04001", [](Json::Value& m) { m.removeMember("param_section"); }), 0,
                        {"warning: \"param_section\" absent"}},
                Failure{"lint_golden_wrong_type",
                        lintEdited("param05000", [](Json::Value& m) { m["param_golden_value"] = "abc"; }), 1,
                        {"param05000.param_golden_value is not an integer, read as absent"}},
                Failure{"lint_network_copy_other_version",
                        [](Sensorcfg& t) {
                            t.editJson(t.modeFile("param00000", "data"), [](Json::Value& r) { r["networkVersion"] = "1999"; });
                            return "lint " + t.tree();
                        },
                        0,
                        {"param00000   loaded   /system/etc/SensorConfig/underlight_param00000.json",
                         "network copy rejected: version \"1999\" is not the device's"}},
                Failure{"lint_no_tree", args("lint /no/such/tree"), 2, {}},
                Failure{"unknown_command", args("frobnicate"), 2, {}},
                Failure{"fit_few_points", onFile("fit", "few.csv", "x,y,z\n1,2,3\n"), 2, {"1 points, expected 16"}},
                Failure{"fit_not_a_number",
                        [](Sensorcfg& t) {
                            std::string csv = spotCsv(826, 83);
                            return "fit " + t.dir.write("bad.csv", csv.replace(csv.find("\n", 7) + 1, 3, "abc"));
                        },
                        2, {"bad.csv:3: column x: not a number"}},
                Failure{"fit_no_file", [](Sensorcfg& t) { return "fit " + t.dir.path() + "/none.csv"; }, 2, {}},
                Failure{"predict_cut_png",
                        [](Sensorcfg& t) {
                            const std::string png = t.dir.path() + "/cut.png";
                            writePng(png, 112, 43, 10);
                            fs::resize_file(png, fs::file_size(png) / 2);
                            return std::string(kPredict) + " " + png + " --br 9000";
                        },
                        2, {"not a readable PNG (truncated or corrupt)"}},
                Failure{"predict_short_dump", onFile(kPredict, "short.txt", "2 2\n1 2 3 4 5 6\n", " --br 9000"), 2,
                        {"6 pixel values, expected 12"}},
                Failure{"predict_value_range", onFile(kPredict, "big.txt", "1 1\n1 2 300\n", " --br 9000"), 2,
                        {"big.txt:2: pixel value 300 outside 0..255"}},
                Failure{"predict_word", onFile(kPredict, "word.txt", "1 1\n1 x 3\n", " --br 9000"), 2,
                        {"word.txt:2: not an integer: \"x\""}},
                Failure{"predict_no_file", [](Sensorcfg& t) { return std::string(kPredict) + " " + t.dir.path() + "/none.png --br 9000"; },
                        2, {"cannot open"}},
                Failure{"predict_luxcnn_size", onFile("predict --model luxcnn", "small.txt", "1 1\n1 2 3\n", " --br 9000"), 2,
                        {"LuxCNN needs a 101 x 101 patch, got 1 x 1"}},
                Failure{"replay_short_blk",
                        replayWithThird(R"({"time": 0.2, "brightness": 6200, "blk": [1, 2, 3], "nblk": [1, 2, 3, 4, 5]})"),
                        2, {"session.jsonl:3: \"blk\" is not an array of five numbers"}},
                Failure{"replay_no_brightness", replayWithThird(R"({"time": 0.2, "blk": [1, 2, 3, 4, 5], "nblk": [1, 2, 3, 4, 5]})"),
                        2, {"session.jsonl:3: missing \"brightness\""}},
                Failure{"replay_invalid_json", replayWithThird(R"({"time": 0.2, "brightness": 6200,)"), 2,
                        {"session.jsonl:3: invalid JSON"}},
                Failure{"replay_not_object", replayWithThird("[1, 2]"), 2, {"session.jsonl:3: not a JSON object"}},
                Failure{"replay_capture_gone",
                        [](Sensorcfg& t) {
                            const std::string s = t.session(2);
                            fs::remove(s + "/captures/000000.ppm");
                            return t.replay(s);
                        },
                        2, {"session.jsonl:1: /", "/session/captures/000000.ppm: cannot open"}}),
        [](const auto& info) { return std::string(info.param.name); });

// ---- What a user gets on good input ------------------------------------------

TEST_F(Sensorcfg, LintReportsTheSampleTreeCleanAndMachinesGetJson) {
    ToolRun r = sensorcfg("lint " + sample());
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_THAT(r.out, HasSubstr("24 visited, 24 loaded, 0 rejected, 0 warnings: clean"));
    EXPECT_THAT(r.out, HasSubstr("param00000   loaded   /data/SensorConfig/underlight_param00000.json"));
    fs::remove(modeFile("param12001"));
    r = sensorcfg("lint --json " + tree());
    EXPECT_EQ(r.status, 1);
    Json::Value report;
    std::istringstream(r.out) >> report;
    ASSERT_TRUE(report.isObject()) << r.out;
    EXPECT_EQ(report["summary"]["visited"].asInt(), 24);
    EXPECT_EQ(report["summary"]["rejected"].asInt(), 1);
    EXPECT_EQ(report["modes"][0]["weights"]["rows"].asInt(), 10);
    bool found = false;
    for (const Json::Value& m : report["modes"])
        if (m["name"].asString() == "param12001") found = m["status"].asString() == "missing";
    EXPECT_TRUE(found);
    r = sensorcfg("replay --help");
    EXPECT_EQ(r.status, 0);
    EXPECT_THAT(r.out, HasSubstr("Usage:"));
}

TEST_F(Sensorcfg, FitRecoversTheCentreAndTellsTheVerdict) {
    ToolRun ok = sensorcfg("fit " + dir.write("in.csv", spotCsv(826.5, 83.0)));
    EXPECT_EQ(ok.status, 0) << ok.out;
    EXPECT_THAT(ok.out, HasSubstr("x0            826.5000"));
    EXPECT_THAT(ok.out, HasSubstr("y0             83.0000"));
    EXPECT_THAT(ok.out, HasSubstr("sigma_x         8.0000"));
    EXPECT_THAT(ok.out, HasSubstr("centre accepted"));
    ToolRun off = sensorcfg("fit --json " + dir.write("off.csv", spotCsv(812.0, 83.0)));
    EXPECT_EQ(off.status, 1) << off.out;
    EXPECT_THAT(off.out, HasSubstr("\"centre_accepted\": false"));
}

TEST_F(Sensorcfg, PredictRunsBothModelsOnPngAndDump) {
    const std::string capture = dir.path() + "/capture.png";
    writePng(capture, 112, 43, 200);
    ToolRun lr = sensorcfg("predict --model lightreg " + capture + " --br 9000 --blk 100,40,60,30,90 --nblk 400,150,220,120,380");
    EXPECT_EQ(lr.status, 0) << lr.out;
    EXPECT_THAT(lr.out, HasSubstr("LightRegression on " + capture + " (112 x 43), brightness 9000"));
    EXPECT_THAT(lr.out, HasSubstr("screen light delta  c "));
    EXPECT_THAT(sensorcfg("predict --model lightreg " + capture + " --br 100").out, HasSubstr("outside the model's range"));

    std::string dump = "# a grey patch\n101 101\n";
    for (int i = 0; i < 101 * 101; ++i) dump += "128 128 128\n";
    ToolRun cnn = sensorcfg("predict --model luxcnn --json " + dir.write("patch.txt", dump) + " --br 9000 --mode 1");
    EXPECT_EQ(cnn.status, 0) << cnn.out;
    Json::Value v;
    std::istringstream(cnn.out) >> v;
    EXPECT_EQ(v["color_k"].asDouble(), 1.0);
    EXPECT_EQ(v["loc_k"].asDouble(), 1.0);
    EXPECT_GE(v["screen"]["r"].asDouble(), 0.0);
}

TEST_F(Sensorcfg, ReplayWritesFramesAndAReportWithPlots) {
    ToolRun r = sensorcfg(replay(session(30)));
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_THAT(r.out, HasSubstr("replayed 30 frames"));
    EXPECT_THAT(r.out, HasSubstr("compensated (nblk - predicted screen light)"));
    std::string csv = slurp(dir.path() + "/out/frames.csv");
    EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), 31);
    EXPECT_THAT(csv, HasSubstr(",param10000,"));
    std::string html = slurp(dir.path() + "/out/report.html");
    size_t plots = 0;
    for (size_t p = html.find("<svg"); p != std::string::npos; p = html.find("<svg", p + 1)) ++plots;
    EXPECT_EQ(plots, 4u);
    EXPECT_THAT(html, HasSubstr("Error against the true lux"));
    EXPECT_THAT(html, Not(HasSubstr("nan")));
}

}  // namespace
