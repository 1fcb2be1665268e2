#pragma once

// Shared set-up of the parameter store tests: a scratch configuration tree
// under SENSOR_CONFIG_ROOT, documents built as Json::Value and written as
// files, a fresh store per test and the host globals put back afterwards.

#include <gtest/gtest.h>
#include <json/json.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

#include "fusion/RootFusion.h"
#include "fusion/SharedState.h"
#include "param/UnderDisplayLightParam.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TestEnv.h"

namespace paramtest {

using Store = android::UnderDisplayLightParam;
using Info = Store::UnderLightParamInfo;

constexpr const char* kSystemDir = "system/etc/SensorConfig/";
constexpr const char* kDataDir = "data/SensorConfig/";

inline std::string compact(const Json::Value& v) {
    Json::StreamWriterBuilder b;
    b["indentation"] = "";
    return Json::writeString(b, v);
}

inline Json::Value parse(const std::string& text) {
    Json::Value v;
    std::string errs;
    Json::CharReaderBuilder b;
    std::unique_ptr<Json::CharReader> reader(b.newCharReader());
    if (!reader->parse(text.data(), text.data() + text.size(), &v, &errs)) ADD_FAILURE() << text << ": " << errs;
    return v;
}

// Coefficient that identifies its table (k), term (t) and section (s).
inline double coefficient(int k, int t, int s) { return (k + 1) * 1000.0 + t + s / 10.0; }

// A complete, valid mode document { mode: { ... } }.
inline Json::Value modeDocument(const std::string& mode) {
    Json::Value m(Json::objectValue);
    for (int s = 0; s < 7; ++s) m["param_golden_value"].append(100 + s);
    for (int s = 0; s < 6; ++s) m["param_section"].append(10 * (s + 1));
    const char* keys[] = {"red", "green", "blue", "ir"};
    for (int k = 0; k < 4; ++k) {
        Json::Value table(Json::arrayValue);
        for (int t = 0; t < 56; ++t) {
            Json::Value row(Json::arrayValue);
            for (int s = 0; s < 7; ++s) row.append(coefficient(k, t, s));
            table.append(row);
        }
        m[keys[k]] = table;
    }
    Json::Value doc(Json::objectValue);
    doc[mode] = m;
    return doc;
}

inline Json::Value locationDocument(const Json::Value& paramlocation) {
    Json::Value doc(Json::objectValue);
    doc["paramlocation"] = paramlocation;
    return doc;
}

inline std::vector<std::string> defaultModeNames() {
    std::vector<std::string> names;
    for (int acl : {0, 1})
        for (int mode = 0; mode < 6; ++mode)
            for (int dc : {0, 1}) names.push_back("param" + std::to_string(acl) + std::to_string(mode) + "00" + std::to_string(dc));
    return names;
}

class StoreTest : public ::testing::Test {
protected:
    void SetUp() override {
        android::RootFusion::getInstance();  // its start-up lines stay out of the captures
        saved = {useChannelsWeightDelta, ACL, displayColorMode, displayDcState, brightness, icScopeWidth, icScopeHeight,
                 {pixelsEyeRatio[0], pixelsEyeRatio[1], pixelsEyeRatio[2]}};
        useChannelsWeightDelta = false;
        ACL = 0;
        displayColorMode = 0;
        displayDcState = 0;
        brightness = 0;
        icScopeWidth = icScopeHeight = 0;
        pixelsEyeRatio[0] = pixelsEyeRatio[1] = pixelsEyeRatio[2] = 1.0;
        logs.reset(new sctest::LogCapture());
    }
    void TearDown() override {
        useChannelsWeightDelta = saved.weights;
        ACL = saved.acl;
        displayColorMode = saved.mode;
        displayDcState = saved.dc;
        brightness = saved.br;
        icScopeWidth = saved.w;
        icScopeHeight = saved.h;
        for (int i = 0; i < 3; ++i) pixelsEyeRatio[i] = saved.ratio[i];
    }

    std::string writeSystem(const std::string& name, const std::string& text) { return dir.write(kSystemDir + name, text); }
    std::string writeData(const std::string& name, const std::string& text) { return dir.write(kDataDir + name, text); }
    void writeSystem(const std::string& name, const Json::Value& doc) { writeSystem(name, compact(doc)); }
    void writeData(const std::string& name, const Json::Value& doc) { writeData(name, compact(doc)); }
    void writeMode(const std::string& mode) { writeSystem("underlight_" + mode + ".json", modeDocument(mode)); }
    void writeLocation(const Json::Value& paramlocation) {
        writeSystem("underlight_paramlocation.json", locationDocument(paramlocation));
    }

    Store& store() {
        if (!mStore) mStore.reset(new Store());
        return *mStore;
    }
    void rebuildStore() { mStore.reset(new Store()); }

    std::vector<std::string> loadedModes() {
        std::vector<std::string> names;
        for (const auto& e : store().mParamModes) names.push_back(e.first);
        std::sort(names.begin(), names.end());
        return names;
    }

    // Lines that report a value read as absent.
    std::vector<std::string> badValueLines() const {
        std::vector<std::string> out;
        for (const std::string& t : logs->texts())
            if (t.find("read as absent") != std::string::npos) out.push_back(t);
        return out;
    }

    sctest::TempDir dir;
    sctest::ScopedConfigRoot root{dir.path()};
    std::unique_ptr<sctest::LogCapture> logs;

private:
    struct Saved {
        bool weights;
        int acl, mode, dc, br, w, h;
        double ratio[3];
    } saved{};
    std::unique_ptr<Store> mStore;
};

}  // namespace paramtest
