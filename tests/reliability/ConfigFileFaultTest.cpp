// The parameter store against configuration files damaged in every way a
// file system can deliver them. CI runs as root, so permission bits cannot
// make a file unreadable: a directory in place of the file stands in for an
// open that succeeds and a read that fails (EISDIR).
#include <android/log.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <string>

#include "tests/param/ParamFixture.h"

namespace paramtest {
namespace {

constexpr const char* kLocation = "underlight_paramlocation.json";
constexpr const char* kNetworkConfig = "NetworkConfig.json";
constexpr const char* kWeights = "underlight_param00000_weights.json";
constexpr const char* kMode = "underlight_param00000.json";

const std::string kValidLocation =
        "{\"paramlocation\": {\"sensordisplaylocation\": [520, 96, 43, 112], \"supportAcl3\": 1,\n"
        "  \"supportWeightDelta\": 1, \"notmSupportDcFeature\": 0}}\n";
constexpr int kSentinel = -7;

class ConfigFileFaults : public StoreTest {
protected:
    std::string systemPath(const std::string& name) const { return dir.path() + "/system/etc/SensorConfig/" + name; }
    std::string dataPath(const std::string& name) const { return dir.path() + "/data/SensorConfig/" + name; }

    // Writes every `step`-th cut of `valid` (every cut in the last 64 bytes,
    // where the closing brackets are), then every `step`-th single byte
    // flipped, to the system file `name`; `check(cut, at)` sees each.
    template <typename Check>
    void eachDamaged(const std::string& name, const std::string& valid, size_t step, Check check) {
        for (size_t n = 0; n <= valid.size(); n += (n + 64 >= valid.size() ? 1 : step)) {
            writeSystem(name, valid.substr(0, n));
            check(true, n);
        }
        for (size_t i = 0; i < valid.size(); i += step) {
            std::string text = valid;
            text[i] = static_cast<char>(text[i] ^ 0xff);
            writeSystem(name, text);
            check(false, i);
        }
    }

    // Parses the location file into a store whose rectangle holds sentinels.
    Store::UnderLightRect parseLocation() {
        rebuildStore();
        for (int32_t& c : store().mRect.coords) c = kSentinel;
        store().parseLightLocation("NULL");
        return store().mRect;
    }
};

// ---- A directory where a file should be ----------------------------------

TEST_F(ConfigFileFaults, DirectoriesInPlaceOfEveryFileReadAsMissing) {
    writeMode("param00000");
    writeData(kMode, "{\"networkVersion\": \"\"}");  // would be used if readable
    for (const std::string& path : {systemPath(kLocation), systemPath(kNetworkConfig), systemPath(kWeights),
                                    dataPath(kLocation)})
        ASSERT_EQ(mkdir(path.c_str(), 0755), 0) << path;
    std::remove(dataPath(kMode).c_str());
    ASSERT_EQ(mkdir(dataPath(kMode).c_str(), 0755), 0);

    rebuildStore();
    EXPECT_EQ(store().mLocalNetworkVersion, "");
    store().underDisplayParamParaseAllMode();
    // The unreadable network copy falls back to the system file.
    EXPECT_EQ(loadedModes(), Lines{"param00000"});
    bool reported = false;
    for (const std::string& t : logs->texts()) reported = reported || t.rfind("UL: parseLightLocation failed: ", 0) == 0;
    EXPECT_TRUE(reported);
    EXPECT_TRUE(store().mDeltaWeights.empty() || store().mDeltaWeights.begin()->second.empty());

    // A directory as the mode file itself: the mode is absent.
    std::remove(systemPath(kMode).c_str());
    ASSERT_EQ(mkdir(systemPath(kMode).c_str(), 0755), 0);
    rebuildStore();
    store().underDisplayParamParseOneMode("param00000");
    EXPECT_TRUE(store().mParamModes.empty());
}

TEST_F(ConfigFileFaults, FifoInPlaceOfAFileIsRefusedWithoutWaiting) {
    // Opening a FIFO for reading would wait for a writer forever.
    writeSystem(kLocation, kValidLocation);
    ASSERT_EQ(mkfifo(systemPath(kMode).c_str(), 0644), 0);
    ASSERT_EQ(mkfifo(systemPath(kNetworkConfig).c_str(), 0644), 0);
    rebuildStore();
    EXPECT_EQ(store().mLocalNetworkVersion, "");
    store().underDisplayParamParseOneMode("param00000");
    EXPECT_TRUE(store().mParamModes.empty());
}

// ---- Truncated and corrupted copies of a valid file ------------------------

TEST_F(ConfigFileFaults, DamagedLocationKeepsEveryValueOrReadsIt) {
    const size_t complete = kValidLocation.rfind('}') + 1;
    const int32_t expected[4] = {520, 96, 43, 112};
    eachDamaged(kLocation, kValidLocation, 1, [&](bool cut, size_t at) {
        const Store::UnderLightRect rect = parseLocation();
        for (int k = 0; k < 4; ++k) {
            // Unparsable: untouched; a renamed key: absent (0); otherwise the value.
            const int32_t c = rect.coords[k];
            if (cut) {
                ASSERT_EQ(c, at >= complete ? expected[k] : kSentinel) << "truncated at " << at;
            } else {
                ASSERT_TRUE(c == kSentinel || c == 0 || c == expected[k]) << "byte " << at << ": " << c;
            }
        }
    });
}

// What a failed parse built is never used, and only a flipped byte inside
// the version string survives the parse.
TEST_F(ConfigFileFaults, DamagedNetworkConfigGivesTheVersionOrNone) {
    const std::string valid = "{\"localNetworkVersion\": \"2026.11.1\"}";
    eachDamaged(kNetworkConfig, valid, 1, [&](bool cut, size_t at) {
        rebuildStore();
        const std::string& v = store().mLocalNetworkVersion;
        if (cut) {
            ASSERT_EQ(v, at == valid.size() ? "2026.11.1" : "") << "truncated at " << at;
        } else if (!v.empty()) {
            ASSERT_EQ(v.size(), 9u) << at;
            ASSERT_TRUE(at >= 25 && at < 34) << at;
        }
    });
}

TEST_F(ConfigFileFaults, DamagedModeFileIsAllOrNothing) {
    const std::string valid = compact(modeDocument("param00000"));
    eachDamaged(kMode, valid, 13, [&](bool cut, size_t at) {
        rebuildStore();
        store().underDisplayParamParseOneMode("param00000");
        if (cut) {
            ASSERT_EQ(store().mParamModes.size(), at == valid.size() ? 1u : 0u) << "truncated at " << at;
        } else if (!store().mParamModes.empty()) {
            // Loaded: the flip sat inside a key that is not read, so every
            // read value is intact.
            const Info& info = *store().mParamModes.at("param00000");
            ASSERT_EQ(info.red[0][0], coefficient(0, 0, 0)) << at;
            ASSERT_EQ(info.ir[55][6], coefficient(3, 55, 6)) << at;
        }
    });
}

// ---- A network copy replaced between its version check and its read --------

// Runs sOnValid when the store announces a network copy as valid, that is
// after the version check and before the copy is read.
std::function<void()> sOnValid;
int sFired = 0;
void onValidLogger(const __android_logger_data*, const char* message) {
    static const std::string kValid = " is valid.";
    const std::string text = message ? message : "";
    if (text.size() > kValid.size() && text.compare(text.size() - kValid.size(), kValid.size(), kValid) == 0) {
        ++sFired;
        sOnValid();
    }
}

TEST_F(ConfigFileFaults, NetworkCopyReplacedAfterItsVersionCheck) {
    writeMode("param00000");
    Json::Value copy = modeDocument("param00000");
    copy["networkVersion"] = "";
    const std::string validCopy = compact(copy);
    Json::Value other = copy;
    other["param00000"]["red"][0][0] = 42.0;

    const std::string path = dataPath(kMode);
    struct Case {
        const char* name;
        std::function<void()> swap;
        bool loaded;
        double red00;
    };
    const Case cases[] = {
            {"removed", [&] { std::remove(path.c_str()); }, false, 0},
            {"directory", [&] { std::remove(path.c_str()); mkdir(path.c_str(), 0755); }, false, 0},
            {"truncated", [&] { writeData(kMode, validCopy.substr(0, 100)); }, false, 0},
            {"emptied", [&] { writeData(kMode, ""); }, false, 0},
            {"other_values", [&] { writeData(kMode, compact(other)); }, true, 42.0},
    };
    __android_log_set_logger(onValidLogger);  // the fixture's capture is not read here
    for (const Case& c : cases) {
        rmdir(path.c_str());
        writeData(kMode, validCopy);
        rebuildStore();
        sFired = 0;
        sOnValid = c.swap;
        store().underDisplayParamParseOneMode("param00000");
        ASSERT_EQ(sFired, 1) << c.name;
        // What is read is what is there at the read; nothing half-read stays.
        ASSERT_EQ(store().mParamModes.size(), c.loaded ? 1u : 0u) << c.name;
        if (c.loaded) {
            EXPECT_EQ(store().mParamModes.at("param00000")->red[0][0], c.red00) << c.name;
        }
    }
    rmdir(path.c_str());
}

}  // namespace
}  // namespace paramtest
