// End-to-end tests of the sensorcfg tool: each runs the binary on a small
// fixture and checks its exit status and the lines a user relies on.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>
#include <png.h>
#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

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

std::string sampleTree() { return sctest::sourceDir() + "/examples/SensorConfig"; }

// A copy of the sample tree that a test may break.
class LintTree : public ::testing::Test {
protected:
    void SetUp() override { fs::copy(sampleTree(), tree(), fs::copy_options::recursive); }
    std::string tree() const { return dir.path() + "/tree"; }
    std::string modeFile(const std::string& mode) const {
        return tree() + "/system/etc/SensorConfig/underlight_" + mode + ".json";
    }
    Json::Value readMode(const std::string& mode) {
        Json::Value root;
        std::ifstream in(modeFile(mode));
        in >> root;
        return root;
    }
    void writeMode(const std::string& mode, const Json::Value& root) {
        std::ofstream(modeFile(mode)) << Json::FastWriter().write(root);
    }
    sctest::TempDir dir;
};

TEST(SensorcfgLint, SampleTreeIsClean) {
    ToolRun r = sensorcfg("lint " + sampleTree());
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_THAT(r.out, HasSubstr("24 visited, 24 loaded, 0 rejected, 0 warnings: clean"));
    EXPECT_THAT(r.out, HasSubstr("param00000   loaded   /data/SensorConfig/underlight_param00000.json"));
}

struct Breakage {
    const char* name;
    const char* mode;
    std::function<void(Json::Value&)> edit;  // null: the file is handled by `raw`
    std::string raw;                          // replaces the file when edit is null ("" removes it)
    const char* expected;
    int status;
};

class LintFinding : public LintTree, public ::testing::WithParamInterface<Breakage> {};

TEST_P(LintFinding, IsReportedWithWhere) {
    const Breakage& b = GetParam();
    if (b.edit) {
        Json::Value root = readMode(b.mode);
        b.edit(root[b.mode]);
        writeMode(b.mode, root);
    } else if (b.raw.empty()) {
        fs::remove(modeFile(b.mode));
    } else {
        std::ofstream(modeFile(b.mode)) << b.raw;
    }
    ToolRun r = sensorcfg("lint " + tree());
    EXPECT_EQ(r.status, b.status) << r.out;
    EXPECT_THAT(r.out, HasSubstr(b.expected)) << r.out;
}

INSTANTIATE_TEST_SUITE_P(
        Families, LintFinding,
        ::testing::Values(
                Breakage{"missing", "param02000", nullptr, "", "param02000   [missing] ", 1},
                Breakage{"invalid_json", "param01000", nullptr, "{\n  \"param01000\": {\n    \"red\": [1, 2,,\n",
                         "[invalid] /system/etc/SensorConfig/underlight_param01000.json: invalid JSON at line 3, column",
                         1},
                Breakage{"no_mode_object", "param01001", nullptr, "{\"other\": {}}", "no \"param01001\" object", 1},
                Breakage{"short_table", "param03000", [](Json::Value& m) { m["red"].resize(55); }, "",
                         "\"red\" has 55 rows, expected 56", 1},
                Breakage{"long_row0", "param03001", [](Json::Value& m) { m["ir"][0].append(1.0); }, "",
                         "\"ir\" row 0 has 8 numbers, expected 7", 1},
                Breakage{"short_later_row", "param04000", [](Json::Value& m) { m["green"][5].resize(6); }, "",
                         "warning: \"green\" row 5 has 6 numbers, not 7", 0},
                Breakage{"sections_absent", "param04001", [](Json::Value& m) { m.removeMember("param_section"); }, "",
                         "warning: \"param_section\" absent", 0},
                Breakage{"golden_wrong_type", "param05000", [](Json::Value& m) { m["param_golden_value"] = "abc"; }, "",
                         "param05000.param_golden_value is not an integer, read as absent", 1}),
        [](const auto& info) { return std::string(info.param.name); });

TEST_F(LintTree, NetworkCopyWithAnotherVersionIsRejected) {
    const std::string copy = tree() + "/data/SensorConfig/underlight_param00000.json";
    Json::Value root;
    std::ifstream(copy) >> root;
    root["networkVersion"] = "1999";
    std::ofstream(copy) << Json::FastWriter().write(root);
    ToolRun r = sensorcfg("lint " + tree());
    EXPECT_THAT(r.out, HasSubstr("param00000   loaded   /system/etc/SensorConfig/underlight_param00000.json"));
    EXPECT_THAT(r.out, HasSubstr("network copy rejected: version \"1999\" is not the device's"));
}

TEST_F(LintTree, JsonReportForMachines) {
    fs::remove(modeFile("param12001"));
    ToolRun r = sensorcfg("lint --json " + tree());
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
}

TEST(SensorcfgUsage, ErrorsExitTwo) {
    EXPECT_EQ(sensorcfg("lint /no/such/tree").status, 2);
    EXPECT_EQ(sensorcfg("lint").status, 2);
    EXPECT_EQ(sensorcfg("frobnicate").status, 2);
    for (const char* sub : {"lint", "predict", "fit", "replay"}) {
        ToolRun r = sensorcfg(std::string(sub) + " --help");
        EXPECT_EQ(r.status, 0) << sub;
        EXPECT_THAT(r.out, HasSubstr("Usage:")) << sub;
    }
}

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

TEST(SensorcfgFit, RecoversTheCentreAndTellsTheVerdict) {
    sctest::TempDir dir;
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

TEST(SensorcfgFit, BadPointFilesNameTheProblem) {
    sctest::TempDir dir;
    std::string csv = spotCsv(826, 83);
    ToolRun few = sensorcfg("fit " + dir.write("few.csv", "x,y,z\n1,2,3\n"));
    EXPECT_EQ(few.status, 2);
    EXPECT_THAT(few.out, HasSubstr("1 points, expected 16"));
    std::string bad = csv;
    bad.replace(bad.find("\n", 7) + 1, 3, "abc");
    ToolRun nan = sensorcfg("fit " + dir.write("bad.csv", bad));
    EXPECT_EQ(nan.status, 2);
    EXPECT_THAT(nan.out, HasSubstr("bad.csv:3: column x: not a number"));
    EXPECT_EQ(sensorcfg("fit " + dir.path() + "/none.csv").status, 2);
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

TEST(SensorcfgPredict, BothModelsOnPngAndDump) {
    sctest::TempDir dir;
    const std::string capture = dir.path() + "/capture.png";
    writePng(capture, 112, 43, 200);
    ToolRun lr = sensorcfg("predict --model lightreg " + capture + " --br 9000 --blk 100,40,60,30,90 --nblk 400,150,220,120,380");
    EXPECT_EQ(lr.status, 0) << lr.out;
    EXPECT_THAT(lr.out, HasSubstr("LightRegression on " + capture + " (112 x 43), brightness 9000"));
    EXPECT_THAT(lr.out, HasSubstr("screen light delta  c "));

    ToolRun low = sensorcfg("predict --model lightreg " + capture + " --br 100");
    EXPECT_THAT(low.out, HasSubstr("outside the model's range"));

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

TEST(SensorcfgPredict, BadCapturesAreInputErrors) {
    sctest::TempDir dir;
    const std::string png = dir.path() + "/cut.png";
    writePng(png, 112, 43, 10);
    fs::resize_file(png, fs::file_size(png) / 2);
    struct {
        std::string file, expected;
    } cases[] = {
            {png, "not a readable PNG (truncated or corrupt)"},
            {dir.write("short.txt", "2 2\n1 2 3 4 5 6\n"), "6 pixel values, expected 12"},
            {dir.write("big.txt", "1 1\n1 2 300\n"), "short"},
            {dir.write("word.txt", "1 1\n1 x 3\n"), "word.txt:2: not an integer: \"x\""},
            {dir.path() + "/none.png", "cannot open"},
    };
    cases[2].expected = "big.txt:2: pixel value 300 outside 0..255";
    for (const auto& c : cases) {
        ToolRun r = sensorcfg("predict --model lightreg " + c.file + " --br 9000");
        EXPECT_EQ(r.status, 2) << c.file;
        EXPECT_THAT(r.out, HasSubstr(c.expected));
    }
    ToolRun wrong = sensorcfg("predict --model luxcnn " + dir.write("small.txt", "1 1\n1 2 3\n") + " --br 9000");
    EXPECT_EQ(wrong.status, 2);
    EXPECT_THAT(wrong.out, HasSubstr("LuxCNN needs a 101 x 101 patch, got 1 x 1"));
}

// A small session in the recorded format: a grey screen brightening.
std::string writeSession(const sctest::TempDir& dir, int frames) {
    std::string ppm = "P6\n50 80\n255\n" + std::string(50 * 80 * 3, char(90));
    dir.write("session/captures/000000.ppm", ppm);
    std::string log;
    for (int i = 0; i < frames; ++i) {
        char line[512];
        std::snprintf(line, sizeof line,
                      "{\"frame\": %d, \"time\": %.1f, \"brightness\": %d, \"display_mode\": 0, \"acl\": 1, "
                      "\"dc_state\": 0, \"screen_hop_mode\": 0, \"blk\": [900, 300, 700, 200, 1000], "
                      "\"nblk\": [1500, 500, 1100, 350, 1600], %s\"lux\": 120.0}\n",
                      i, 0.1 * i, 6000 + 100 * i, i == 0 ? "\"capture\": \"captures/000000.ppm\", " : "");
        log += line;
    }
    dir.write("session/session.jsonl", log);
    return dir.path() + "/session";
}

TEST(SensorcfgReplay, WritesFramesAndAReportWithPlots) {
    sctest::TempDir dir;
    const std::string session = writeSession(dir, 30);
    const std::string out = dir.path() + "/out";
    ToolRun r = sensorcfg("replay " + session + " --config " + sampleTree() + " --out " + out);
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_THAT(r.out, HasSubstr("replayed 30 frames"));
    EXPECT_THAT(r.out, HasSubstr("compensated (nblk - predicted screen light)"));
    std::string csv = slurp(out + "/frames.csv");
    EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), 31);
    EXPECT_THAT(csv, HasSubstr(",param10000,"));
    std::string html = slurp(out + "/report.html");
    size_t plots = 0;
    for (size_t p = html.find("<svg"); p != std::string::npos; p = html.find("<svg", p + 1)) ++plots;
    EXPECT_EQ(plots, 4u);
    EXPECT_THAT(html, HasSubstr("Error against the true lux"));
    EXPECT_THAT(html, Not(HasSubstr("nan")));
}

TEST(SensorcfgReplay, MalformedLogLinesNameTheLine) {
    sctest::TempDir dir;
    const std::string session = writeSession(dir, 3);
    std::string log = slurp(session + "/session.jsonl");
    struct {
        std::string third, expected;
    } cases[] = {
            {"{\"time\": 0.2, \"brightness\": 6200, \"blk\": [1, 2, 3], \"nblk\": [1, 2, 3, 4, 5]}",
             "session.jsonl:3: \"blk\" is not an array of five numbers"},
            {"{\"time\": 0.2, \"blk\": [1, 2, 3, 4, 5], \"nblk\": [1, 2, 3, 4, 5]}", "session.jsonl:3: missing \"brightness\""},
            {"{\"time\": 0.2, \"brightness\": 6200,", "session.jsonl:3: invalid JSON"},
            {"[1, 2]", "session.jsonl:3: not a JSON object"},
    };
    const std::string first2 = log.substr(0, log.find('\n', log.find('\n') + 1) + 1);
    for (const auto& c : cases) {
        dir.write("session/session.jsonl", first2 + c.third + "\n");
        ToolRun r = sensorcfg("replay " + session + " --config " + sampleTree() + " --out " + dir.path() + "/o");
        EXPECT_EQ(r.status, 2) << r.out;
        EXPECT_THAT(r.out, HasSubstr(c.expected));
    }
    dir.write("session/session.jsonl", first2);
    fs::remove(session + "/captures/000000.ppm");
    ToolRun gone = sensorcfg("replay " + session + " --config " + sampleTree() + " --out " + dir.path() + "/o");
    EXPECT_EQ(gone.status, 2);
    EXPECT_THAT(gone.out, HasSubstr("session.jsonl:1: " + session + "/captures/000000.ppm: cannot open"));
}

}  // namespace
