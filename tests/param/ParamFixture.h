#pragma once

// Parameter store tests: a scratch configuration tree under
// SENSOR_CONFIG_ROOT, documents built as Json::Value, a fresh store per test,
// and the host globals put back afterwards.

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
using Lines = std::vector<std::string>;

inline std::string compact(const Json::Value& v) {
    Json::StreamWriterBuilder b;
    b["indentation"] = "";
    return Json::writeString(b, v);
}

inline Json::Value parse(const std::string& text) {
    Json::Value v;
    std::string errs;
    std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    if (!reader->parse(text.data(), text.data() + text.size(), &v, &errs)) ADD_FAILURE() << text << ": " << errs;
    return v;
}

// A coefficient that tells its table k, term t and section s apart.
inline double coefficient(int k, int t, int s) { return (k + 1) * 1000.0 + t + s / 10.0; }

// Table k of red, green, blue, ir.
inline const double (*table(const Info& info, int k))[7] {
    const double(*tables[])[7] = {info.red, info.green, info.blue, info.ir};
    return tables[k];
}

inline Json::Value modeDocument(const std::string& mode) {
    Json::Value m(Json::objectValue);
    for (int s = 0; s < 7; ++s) m["param_golden_value"].append(100 + s);
    for (int s = 0; s < 6; ++s) m["param_section"].append(10 * (s + 1));
    const char* keys[] = {"red", "green", "blue", "ir"};
    for (int k = 0; k < 4; ++k)
        for (int t = 0; t < 56; ++t)
            for (int s = 0; s < 7; ++s) m[keys[k]][t][s] = coefficient(k, t, s);
    Json::Value doc(Json::objectValue);
    doc[mode] = m;
    return doc;
}

// Mode names in walk order: ACL levels (0, 1 and 3 if acl3), six display
// modes, light ICs 0..lights, display ICs 0..displays, DC off (and on).
inline Lines walkNames(bool acl3, bool dc, int lights, int displays) {
    Lines out;
    for (int acl : {0, 1, 3}) {
        if (acl == 3 && !acl3) break;
        for (int mode = 0; mode < 6; ++mode)
            for (int l = 0; l <= lights; ++l)
                for (int d = 0; d <= displays; ++d)
                    for (int c = 0; c <= (dc ? 1 : 0); ++c)
                        out.push_back("param" + std::to_string(acl) + std::to_string(mode) + std::to_string(l) +
                                      std::to_string(d) + std::to_string(c));
    }
    return out;
}

class StoreTest : public ::testing::Test {
protected:
    void SetUp() override {
        android::RootFusion::getInstance();  // its start-up lines stay out of the captures
        useChannelsWeightDelta = false;
        ACL = displayColorMode = displayDcState = brightness = icScopeWidth = icScopeHeight = 0;
        pixelsEyeRatio[0] = pixelsEyeRatio[1] = pixelsEyeRatio[2] = 1.0;
        logs.reset(new sctest::LogCapture());
    }

    void writeSystem(const std::string& name, const std::string& text) { dir.write("system/etc/SensorConfig/" + name, text); }
    void writeData(const std::string& name, const std::string& text) { dir.write("data/SensorConfig/" + name, text); }
    void writeMode(const std::string& mode) { writeSystem("underlight_" + mode + ".json", compact(modeDocument(mode))); }
    void writeLocation(const std::string& paramlocation) {
        writeSystem("underlight_paramlocation.json", "{\"paramlocation\": " + paramlocation + "}");
    }

    Store& store() {
        if (!mStore) mStore.reset(new Store());
        return *mStore;
    }
    void rebuildStore() { mStore.reset(new Store()); }
    Lines loadedModes() {
        Lines names;
        for (const auto& e : store().mParamModes) names.push_back(e.first);
        std::sort(names.begin(), names.end());
        return names;
    }
    // Lines reporting a value read as absent.
    Lines badValueLines() const {
        Lines out;
        for (const std::string& t : logs->texts())
            if (t.find("read as absent") != std::string::npos) out.push_back(t);
        return out;
    }

    sctest::TempDir dir;
    sctest::ScopedConfigRoot root{dir.path()};
    std::unique_ptr<sctest::LogCapture> logs;

private:
    std::unique_ptr<Store> mStore;
};

}  // namespace paramtest
