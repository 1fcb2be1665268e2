// What the sensor service does at start-up, on a desk: set the unit's
// properties, give it a panel identity file in a scratch working directory,
// create the facade and ask it for project lux across the brightness range.
//
//   sc-demo [--verbose] [PROPERTY_FILE]
//
// PROPERTY_FILE holds key=value lines; the key "panel.identity" is not a
// property but the bytes written to sys/lcm/lcm_id.
#include <android-base/properties.h>
#include <android/log.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "fusion/RootFusion.h"

namespace fs = std::filesystem;
using android::ProjectFeature;
using android::RootFusion;

namespace {

std::string trim(const std::string& s) {
    size_t b = s.find_first_not_of(" \t\r\n");
    size_t e = s.find_last_not_of(" \t\r\n");
    return b == std::string::npos ? "" : s.substr(b, e - b + 1);
}

bool loadProperties(const std::string& path, std::string* panel) {
    std::ifstream in(path);
    if (!in) {
        std::fprintf(stderr, "sc-demo: cannot read %s\n", path.c_str());
        return false;
    }
    std::string line;
    int lineNo = 0;
    while (std::getline(in, line)) {
        ++lineNo;
        line = trim(line);
        if (line.empty() || line[0] == '#') continue;
        size_t eq = line.find('=');
        if (eq == std::string::npos) {
            std::fprintf(stderr, "sc-demo: %s:%d: expected key=value\n", path.c_str(), lineNo);
            return false;
        }
        std::string key = trim(line.substr(0, eq)), value = trim(line.substr(eq + 1));
        if (key == "panel.identity") {
            *panel = value;
        } else {
            android::base::SetProperty(key, value);
            std::printf("  property %-34s = %s\n", key.c_str(), value.c_str());
        }
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    std::string propFile = "examples/demo/device.prop";
    bool verbose = false;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "--verbose" || a == "-v") {
            verbose = true;
        } else if (a == "--help" || a == "-h") {
            std::printf("usage: sc-demo [--verbose] [PROPERTY_FILE]\n");
            return 0;
        } else {
            propFile = a;
        }
    }
    // The library's log lines go to stderr on the host; show them on request.
    __android_log_set_minimum_priority(verbose ? ANDROID_LOG_VERBOSE : ANDROID_LOG_SILENT);

    std::printf("Start-up of a sample unit (%s)\n", propFile.c_str());
    std::string panel = "0x000000a0";
    if (!loadProperties(propFile, &panel)) return 2;

    char templ[] = "/tmp/sc-demo-XXXXXX";
    if (mkdtemp(templ) == nullptr) {
        std::perror("sc-demo: mkdtemp");
        return 2;
    }
    fs::path work(templ);
    fs::create_directories(work / "sys/lcm");
    std::ofstream(work / "sys/lcm/lcm_id", std::ios::binary) << panel;
    fs::path previous = fs::current_path();
    fs::current_path(work);
    std::printf("  panel identity file sys/lcm/lcm_id = \"%s\" (in %s)\n\n", panel.c_str(), templ);

    RootFusion* root = RootFusion::getInstance();
    ProjectFeature* f = ProjectFeature::getInstance();
    std::printf("Project features\n");
    std::printf("  displayId   %d\n  luxScale    %g\n  autoTest    %d\n  isOverSeas  %d\n", f->displayId,
                f->luxScale, f->autoTest, f->isOverSeas);
    std::printf("  caliFactor  c %.4f  r %.4f  g %.4f  b %.4f  w %.4f\n", f->caliFactor[0], f->caliFactor[1],
                f->caliFactor[2], f->caliFactor[3], f->caliFactor[4]);
    int scope[4];
    root->getPixcelIcScope(f->isOverSeas ? 420 : 480, scope);
    std::printf("  capture scope %d %d %d %d, pixel model %d, under-display %d\n\n", scope[0], scope[1], scope[2],
                scope[3], root->getPixcelModel(), root->isUnderLight());

    struct Reading {
        int br;
        float lux;
        double crgbw[5];
    } readings[] = {
            {0, 3.5f, {40, 12, 18, 9, 35}},
            {1200, 250.0f, {3000, 1100, 1500, 800, 2700}},
            {5513, 1500.0f, {26000, 6000, 16400, 4100, 24500}},
            {5514, 1500.0f, {26000, 6000, 16400, 4100, 24500}},
            {8000, 3200.0f, {61000, 15500, 34000, 11000, 57000}},
            {14063, 20000.0f, {380000, 90000, 205000, 60000, 350000}},
            {14063, 30.0f, {700, 200, 150, 600, 650}},
    };
    std::printf("Project lux (panel %d)\n", f->displayId);
    std::printf("  %6s %9s %44s %10s\n", "br", "raw lux", "crgbw", "lux");
    for (auto& r : readings) {
        brightness = r.br;
        char ch[64];
        std::snprintf(ch, sizeof ch, "%.0f %.0f %.0f %.0f %.0f", r.crgbw[0], r.crgbw[1], r.crgbw[2], r.crgbw[3],
                      r.crgbw[4]);
        std::printf("  %6d %9.1f %44s %10.2f\n", r.br, r.lux, ch, root->calcLuxForProject(r.crgbw, r.lux));
    }

    fs::current_path(previous);
    fs::remove_all(work);
    return 0;
}
