// sensorcfg lint DIR: loads a SensorConfig tree with the library's own
// parameter store (DIR stands for the device root, as SENSOR_CONFIG_ROOT) and
// reports, for every mode the walk visits, whether it loaded and, when not,
// why: the verdicts are the store's, the explanations come from reading the
// same files again with line and column information.
#include <json/json.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "fusion/SharedState.h"
#include "param/UnderDisplayLightParam.h"
#include "tools/sensorcfg/Commands.h"
#include "tools/sensorcfg/LogTap.h"

namespace fs = std::filesystem;
using android::UnderDisplayLightParam;

namespace sensorcfg {

namespace {

constexpr const char* kSystemDir = "/system/etc/SensorConfig/";
constexpr const char* kDataDir = "/data/SensorConfig/";

struct LintOptions {
    std::string dir;
    bool json = false;
};

// One file read the way the store reads it, plus what a person needs to know.
struct FileCheck {
    bool exists = false;
    bool parsed = false;
    std::string error;  // "line L, column C: message" or a plain reason
    Json::Value root;
};

FileCheck readJson(const std::string& tree, const std::string& devicePath) {
    FileCheck c;
    const std::string path = tree + devicePath;
    std::error_code ec;
    if (!fs::exists(path, ec)) {
        c.error = "no such file";
        return c;
    }
    c.exists = true;
    if (fs::is_directory(path, ec)) {
        c.error = "is a directory";
        return c;
    }
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    const std::string text = ss.str();
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errs;
    try {
        c.parsed = reader->parse(text.data(), text.data() + text.size(), &c.root, &errs);
    } catch (const std::exception& e) {
        c.parsed = false;
        errs = e.what();
    }
    if (!c.parsed) {
        // jsoncpp reports "* Line L, Column C\n  message\n" per error; the
        // first one is where the file went wrong.
        std::string where, message;
        std::istringstream lines(errs);
        std::string line;
        while (std::getline(lines, line)) {
            if (line.rfind("* ", 0) == 0 && where.empty()) {
                where = line.substr(2);
            } else if (!where.empty() && message.empty()) {
                size_t b = line.find_first_not_of(' ');
                if (b != std::string::npos) message = line.substr(b);
            }
        }
        while (!message.empty() && message.back() == ' ') message.pop_back();
        for (char& ch : where) ch = char(std::tolower(static_cast<unsigned char>(ch)));
        if (where.empty())
            c.error = "invalid JSON" + (text.empty() ? std::string(": empty file") : ": " + errs);
        else
            c.error = "invalid JSON at " + where + ": " + message;
        c.root = Json::Value();
    }
    return c;
}

std::string versionOf(const Json::Value& root, const char* key) {
    if (!root.isObject() || !root.isMember(key)) return "";
    const Json::Value& v = root[key];
    if (v.isString()) return v.asString();
    if (v.isNumeric() || v.isBool()) return v.asString();
    return "";
}

// Why a mode file that parsed was still refused by the store.
std::string shapeProblem(const Json::Value& root, const std::string& mode) {
    if (!root.isObject() || !root.isMember(mode)) return "no \"" + mode + "\" object";
    const Json::Value& m = root[mode];
    if (!m.isObject()) return "\"" + mode + "\" is not an object";
    for (const char* key : {"red", "green", "blue", "ir"}) {
        if (!m.isMember(key)) return std::string("\"") + key + "\" is missing";
        const Json::Value& t = m[key];
        if (!t.isArray()) return std::string("\"") + key + "\" is not an array";
        if (t.size() != 56)
            return std::string("\"") + key + "\" has " + std::to_string(t.size()) + " rows, expected 56";
        if (!t[0].isArray() || t[0].size() != 7)
            return std::string("\"") + key + "\" row 0 has " + (t[0].isArray() ? std::to_string(t[0].size()) : "no") +
                   " numbers, expected 7";
    }
    return "";
}

// Problems the store tolerates but a file should not have.
std::vector<std::string> contentWarnings(const Json::Value& root, const std::string& mode) {
    std::vector<std::string> out;
    if (!root.isObject() || !root.isMember(mode) || !root[mode].isObject()) return out;
    const Json::Value& m = root[mode];
    if (!m.isMember("param_golden_value"))
        out.push_back("\"param_golden_value\" absent: the golden values are undefined");
    else if (m["param_golden_value"].isArray() && m["param_golden_value"].size() != 7)
        out.push_back("\"param_golden_value\" has " + std::to_string(m["param_golden_value"].size()) +
                      " values, not 7: all sections take the first");
    if (!m.isMember("param_section"))
        out.push_back("\"param_section\" absent: the brightness sections are undefined");
    else if (m["param_section"].isArray() && m["param_section"].size() != 6)
        out.push_back("\"param_section\" has " + std::to_string(m["param_section"].size()) +
                      " bounds, not 6: the missing ones read as 0");
    for (const char* key : {"red", "green", "blue", "ir"}) {
        const Json::Value& t = m[key];
        if (!t.isArray()) continue;
        for (Json::ArrayIndex i = 1; i < t.size(); ++i) {
            if (!t[i].isArray() || t[i].size() != 7) {
                out.push_back(std::string("\"") + key + "\" row " + std::to_string(i) + " has " +
                              (t[i].isArray() ? std::to_string(t[i].size()) : "no") +
                              " numbers, not 7: missing ones read as 0.0");
                break;
            }
        }
    }
    return out;
}

struct ModeReport {
    std::string name;
    std::string status;  // loaded, missing, invalid, refused, repeated
    std::string file;    // device path of the file the store read
    std::string detail;
    std::string network;  // none, accepted, rejected
    std::string networkDetail;
    std::vector<std::string> warnings;
    int weightRows = -1, weightCols = -1;
    std::string weightDetail;
};

// The names the walk visits, in its order, from the switches the store read.
std::vector<std::string> walkNames(const UnderDisplayLightParam& s) {
    std::vector<std::string> names;
    for (int acl : {0, 1, 3}) {
        if (acl == 3 && !s.mSupportAcl3) break;
        for (int dm = 0; dm < 6; ++dm)
            for (int li = 0; li <= s.mLightIcNum && li < 100; ++li)
                for (int di = 0; di <= s.mDisplayIcNum && di < 100; ++di)
                    for (int dc = 0; dc < (s.mSupportDcFeature ? 2 : 1); ++dc)
                        names.push_back("param" + std::to_string(acl) + std::to_string(dm) + std::to_string(li) +
                                        std::to_string(di) + std::to_string(dc));
    }
    return names;
}

int runLint(const LintOptions& o) {
    std::error_code ec;
    const fs::path tree = fs::absolute(o.dir, ec);
    if (!fs::is_directory(tree, ec)) {
        std::fprintf(stderr, "sensorcfg lint: %s: not a directory\n", o.dir.c_str());
        return kInputError;
    }
    std::string root = tree.string();
    while (root.size() > 1 && root.back() == '/') root.pop_back();
    setenv("SENSOR_CONFIG_ROOT", root.c_str(), 1);

    std::vector<std::string> storeLines;
    std::unique_ptr<UnderDisplayLightParam> store;
    {
        LogTap tap;
        store.reset(new UnderDisplayLightParam());
        store->underDisplayParamParaseAllMode();
        storeLines = tap.lines();
    }
    std::set<std::string> validCopies;
    std::vector<std::string> absentValues;
    for (const std::string& l : storeLines) {
        const std::string suffix = " is valid.";
        if (l.size() > suffix.size() && l.compare(l.size() - suffix.size(), suffix.size(), suffix) == 0)
            validCopies.insert(l.substr(0, l.size() - suffix.size()));
        if (l.find(", read as absent") != std::string::npos) absentValues.push_back(l.substr(4));
    }

    std::vector<std::string> problems;  // tree-level findings
    const std::string networkConfig = std::string(kSystemDir) + "NetworkConfig.json";
    FileCheck nc = readJson(root, networkConfig);
    if (nc.exists && !nc.parsed) problems.push_back(networkConfig + ": " + nc.error);
    const std::string localVersion = store->mLocalNetworkVersion;

    const std::string locationName = "underlight_paramlocation.json";
    const std::string networkLocation = std::string(kDataDir) + locationName;
    const bool locationFromNetwork = validCopies.count(networkLocation) > 0;
    const std::string locationPath = locationFromNetwork ? networkLocation : std::string(kSystemDir) + locationName;
    FileCheck loc = readJson(root, locationPath);
    if (!loc.parsed) problems.push_back(locationPath + ": " + loc.error + " (all switches at their defaults)");

    std::vector<ModeReport> modes;
    std::set<std::string> seen;
    for (const std::string& name : walkNames(*store)) {
        ModeReport r;
        r.name = name;
        const std::string netPath = std::string(kDataDir) + "underlight_" + name + ".json";
        const std::string sysPath = std::string(kSystemDir) + "underlight_" + name + ".json";
        const bool netAccepted = validCopies.count(netPath) > 0;
        r.file = netAccepted ? netPath : sysPath;
        FileCheck net = readJson(root, netPath);
        if (!net.exists) {
            r.network = "none";
        } else if (netAccepted) {
            r.network = "accepted";
            r.networkDetail = "version \"" + localVersion + "\"";
        } else {
            r.network = "rejected";
            r.networkDetail = net.parsed ? "version \"" + versionOf(net.root, "networkVersion") +
                                                   "\" is not the device's \"" + localVersion + "\""
                                         : net.error;
        }
        if (seen.count(name)) {
            r.status = "repeated";
            r.detail = "visited again; the record loaded first stays";
        } else if (store->mParamModes.count(name)) {
            r.status = "loaded";
        } else {
            FileCheck f = readJson(root, r.file);
            if (!f.exists) {
                r.status = "missing";
                r.detail = "no such file";
            } else if (!f.parsed) {
                r.status = "invalid";
                r.detail = f.error;
            } else {
                r.status = "refused";
                r.detail = shapeProblem(f.root, name);
                if (r.detail.empty()) r.detail = "refused by the store (see --verbose)";
            }
        }
        if (r.status == "loaded") {
            FileCheck f = readJson(root, r.file);
            r.warnings = contentWarnings(f.root, name);
        }
        if (useChannelsWeightDelta) {
            auto it = store->mDeltaWeights.find(name);
            if (it != store->mDeltaWeights.end()) {
                const auto& grid = it->second;
                r.weightRows = int(grid.size());
                r.weightCols = grid.empty() ? 0 : int(grid[0].size());
                for (size_t i = 1; i < grid.size(); ++i)
                    if (int(grid[i].size()) < r.weightCols) {
                        r.weightDetail = "row " + std::to_string(i) + " is shorter than row 0: its missing cells are skipped";
                        break;
                    }
            } else {
                const std::string wPath = std::string(kSystemDir) + "underlight_" + name + "_weights.json";
                FileCheck w = readJson(root, wPath);
                if (w.exists && !w.parsed) r.weightDetail = wPath + ": " + w.error;
                else if (w.exists) r.weightDetail = wPath + ": no \"" + name + "\" array";
            }
        }
        seen.insert(name);
        modes.push_back(r);
    }

    int loaded = 0, rejected = 0, warnings = 0;
    for (const ModeReport& r : modes) {
        if (r.status == "loaded") ++loaded;
        if (r.status == "missing" || r.status == "invalid" || r.status == "refused") ++rejected;
        warnings += int(r.warnings.size()) + (r.weightDetail.empty() ? 0 : 1);
    }
    const bool clean = rejected == 0 && problems.empty() && absentValues.empty();

    if (o.json) {
        Json::Value out;
        out["tree"] = root;
        out["network_version"] = localVersion;
        out["location_file"] = locationPath;
        out["switches"]["acl3"] = store->mSupportAcl3;
        out["switches"]["dc"] = store->mSupportDcFeature;
        out["switches"]["light_ic_max"] = store->mLightIcNum;
        out["switches"]["display_ic_max"] = store->mDisplayIcNum;
        out["switches"]["weights"] = useChannelsWeightDelta;
        out["modes"] = Json::Value(Json::arrayValue);
        for (const ModeReport& r : modes) {
            Json::Value m;
            m["name"] = r.name;
            m["status"] = r.status;
            m["file"] = r.file;
            if (!r.detail.empty()) m["detail"] = r.detail;
            m["network_copy"] = r.network;
            if (!r.networkDetail.empty()) m["network_detail"] = r.networkDetail;
            for (const std::string& w : r.warnings) m["warnings"].append(w);
            if (r.weightRows >= 0) {
                m["weights"]["rows"] = r.weightRows;
                m["weights"]["columns"] = r.weightCols;
            }
            if (!r.weightDetail.empty()) m["weights"]["detail"] = r.weightDetail;
            out["modes"].append(m);
        }
        out["problems"] = Json::Value(Json::arrayValue);
        for (const std::string& p : problems) out["problems"].append(p);
        for (const std::string& p : absentValues) out["problems"].append(p);
        out["summary"]["visited"] = int(modes.size());
        out["summary"]["loaded"] = loaded;
        out["summary"]["rejected"] = rejected;
        out["summary"]["warnings"] = warnings;
        out["summary"]["clean"] = clean;
        Json::StreamWriterBuilder w;
        w["indentation"] = "  ";
        std::printf("%s\n", Json::writeString(w, out).c_str());
    } else {
        std::printf("SensorConfig tree %s\n", root.c_str());
        std::printf("  network version  %s\n", localVersion.empty() ? "(none)" : ("\"" + localVersion + "\"").c_str());
        std::printf("  location file    %s%s\n", locationPath.c_str(), locationFromNetwork ? " (network copy)" : "");
        std::printf("  switches         acl3 %s, dc %s, light ICs 0..%d, display ICs 0..%d, weights %s\n",
                    store->mSupportAcl3 ? "on" : "off", store->mSupportDcFeature ? "on" : "off", store->mLightIcNum,
                    store->mDisplayIcNum, useChannelsWeightDelta ? "on" : "off");
        for (const std::string& p : problems) std::printf("  ERROR   %s\n", p.c_str());
        for (const std::string& p : absentValues) std::printf("  ERROR   %s\n", p.c_str());
        std::printf("modes (%zu visited)\n", modes.size());
        for (const ModeReport& r : modes) {
            const bool bad = r.status != "loaded" && r.status != "repeated";
            std::printf("  %-12s %-8s %s", r.name.c_str(), bad ? ("[" + r.status + "]").c_str() : r.status.c_str(),
                        r.file.c_str());
            if (!r.detail.empty()) std::printf(": %s", r.detail.c_str());
            if (r.network == "accepted") std::printf("  (network copy, %s)", r.networkDetail.c_str());
            if (r.weightRows >= 0) std::printf("  weights %dx%d", r.weightRows, r.weightCols);
            std::printf("\n");
            if (r.network == "rejected") std::printf("      network copy rejected: %s\n", r.networkDetail.c_str());
            for (const std::string& w : r.warnings) std::printf("      warning: %s\n", w.c_str());
            if (!r.weightDetail.empty()) std::printf("      weights: %s\n", r.weightDetail.c_str());
        }
        std::printf("%zu visited, %d loaded, %d rejected, %d warnings: %s\n", modes.size(), loaded, rejected,
                    warnings, clean ? "clean" : "findings");
    }
    return clean ? kOk : kFindings;
}

}  // namespace

void addLintCommand(CLI::App& app, int* status) {
    auto opts = std::make_shared<LintOptions>();
    CLI::App* cmd = app.add_subcommand(
            "lint", "Load a SensorConfig tree as the parameter store would and report every mode it visits");
    cmd->add_option("dir", opts->dir,
                    "the device root of the tree: it holds system/etc/SensorConfig/ and optionally "
                    "data/SensorConfig/ (e.g. examples/SensorConfig)")
            ->required();
    cmd->add_flag("--json", opts->json, "machine-readable report");
    cmd->callback([opts, status] { *status = runLint(*opts); });
}

}  // namespace sensorcfg
