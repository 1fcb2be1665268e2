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

void writeFile(const std::string& path, const std::string& text) {
    if (FILE* f = std::fopen(path.c_str(), "wb")) {
        std::fwrite(text.data(), 1, text.size(), f);
        std::fclose(f);
    }
}

class ConfigFileFaults : public StoreTest {
protected:
    std::string systemPath(const std::string& name) const { return dir.path() + "/system/etc/SensorConfig/" + name; }
    std::string dataPath(const std::string& name) const { return dir.path() + "/data/SensorConfig/" + name; }

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

TEST_F(ConfigFileFaults, LocationTruncatedAtEveryByteKeepsEveryValueUnlessComplete) {
    const size_t complete = kValidLocation.rfind('}') + 1;
    for (size_t n = 0; n <= kValidLocation.size(); ++n) {
        writeSystem(kLocation, kValidLocation.substr(0, n));
        const Store::UnderLightRect rect = parseLocation();
        if (n >= complete) {
            EXPECT_EQ(rect.coords[2], 43) << n;
        } else {
            for (int32_t c : rect.coords) ASSERT_EQ(c, kSentinel) << "truncated at " << n;
        }
    }
}

TEST_F(ConfigFileFaults, LocationWithAnyByteFlippedReadsTheValueOrNothing) {
    for (size_t i = 0; i < kValidLocation.size(); ++i) {
        std::string text = kValidLocation;
        text[i] = static_cast<char>(text[i] ^ 0xff);
        writeSystem(kLocation, text);
        const Store::UnderLightRect rect = parseLocation();
        const int32_t expected[4] = {520, 96, 43, 112};
        for (int k = 0; k < 4; ++k) {
            // Unparsable: untouched; a renamed key: absent (0); otherwise the value.
            const int32_t c = rect.coords[k];
            ASSERT_TRUE(c == kSentinel || c == 0 || c == expected[k]) << "byte " << i << ": " << c;
        }
    }
}

TEST_F(ConfigFileFaults, NetworkConfigTruncatedOrFlippedGivesTheVersionOrNone) {
    const std::string valid = "{\"localNetworkVersion\": \"2026.11.1\"}";
    for (size_t n = 0; n < valid.size(); ++n) {
        writeSystem(kNetworkConfig, valid.substr(0, n));
        rebuildStore();
        ASSERT_EQ(store().mLocalNetworkVersion, "") << "truncated at " << n;
    }
    for (size_t i = 0; i < valid.size(); ++i) {
        std::string text = valid;
        text[i] = static_cast<char>(text[i] ^ 0xff);
        writeSystem(kNetworkConfig, text);
        rebuildStore();
        const std::string& v = store().mLocalNetworkVersion;
        // Only a flipped byte inside the value's string survives the parse.
        if (!v.empty()) {
            ASSERT_EQ(v.size(), 9u) << i;
            ASSERT_TRUE(i >= 25 && i < 34) << i;
        }
    }
}

TEST_F(ConfigFileFaults, ModeFileTruncatedOrFlippedIsAllOrNothing) {
    const std::string valid = compact(modeDocument("param00000"));
    const std::string complete = valid.substr(0, valid.rfind('}') + 1);
    // Every 13th cut, and every cut in the last stretch where the closing
    // brackets are.
    for (size_t n = 0; n < complete.size(); n += (n + 64 >= complete.size() ? 1 : 13)) {
        writeSystem(kMode, valid.substr(0, n));
        rebuildStore();
        store().underDisplayParamParseOneMode("param00000");
        ASSERT_TRUE(store().mParamModes.empty()) << "truncated at " << n;
    }
    for (size_t i = 0; i < valid.size(); i += 11) {
        std::string text = valid;
        text[i] = static_cast<char>(text[i] ^ 0xff);
        writeSystem(kMode, text);
        rebuildStore();
        store().underDisplayParamParseOneMode("param00000");
        if (store().mParamModes.empty()) continue;
        // Loaded: the flip sat inside a key that is not read, so every read
        // value is intact.
        const Info& info = *store().mParamModes.at("param00000");
        ASSERT_EQ(info.red[0][0], coefficient(0, 0, 0)) << i;
        ASSERT_EQ(info.ir[55][6], coefficient(3, 55, 6)) << i;
    }
}

// ---- A network copy replaced between its version check and its read --------

// Runs `action` when the store announces a network copy as valid, that is
// after the version check and before the copy is read.
class SwapAfterCheck {
public:
    explicit SwapAfterCheck(std::function<void()> action) {
        sAction = std::move(action);
        __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
        __android_log_set_logger(&SwapAfterCheck::logger);
    }
    ~SwapAfterCheck() {
        __android_log_set_logger(&SwapAfterCheck::quiet);
        sAction = nullptr;
    }
    static int fired;

private:
    static void logger(const __android_logger_data*, const char* message) {
        const std::string text = message ? message : "";
        static const std::string kValid = " is valid.";
        if (sAction && text.size() > kValid.size() &&
            text.compare(text.size() - kValid.size(), kValid.size(), kValid) == 0) {
            ++fired;
            sAction();
        }
    }
    static void quiet(const __android_logger_data*, const char*) {}
    static std::function<void()> sAction;
};
int SwapAfterCheck::fired = 0;
std::function<void()> SwapAfterCheck::sAction;

TEST_F(ConfigFileFaults, NetworkCopyReplacedAfterItsVersionCheck) {
    writeMode("param00000");
    Json::Value copy = modeDocument("param00000");
    copy["networkVersion"] = "";
    const std::string validCopy = compact(copy);
    Json::Value other = copy;
    other["param00000"]["red"][0][0] = 42.0;

    struct Case {
        const char* name;
        std::function<void(const std::string&)> swap;
        bool loaded;
        double red00;
    };
    const Case cases[] = {
            {"removed", [](const std::string& p) { std::remove(p.c_str()); }, false, 0},
            {"directory", [](const std::string& p) { std::remove(p.c_str()); mkdir(p.c_str(), 0755); }, false, 0},
            {"truncated", [&](const std::string& p) { writeFile(p, validCopy.substr(0, 100)); }, false, 0},
            {"emptied", [](const std::string& p) { writeFile(p, ""); }, false, 0},
            {"other_values", [&](const std::string& p) { writeFile(p, compact(other)); }, true, 42.0},
    };
    for (const Case& c : cases) {
        const std::string path = dataPath(kMode);
        rmdir(path.c_str());
        writeData(kMode, validCopy);
        rebuildStore();
        SwapAfterCheck::fired = 0;
        {
            SwapAfterCheck hook([&] { c.swap(path); });
            store().underDisplayParamParseOneMode("param00000");
        }
        ASSERT_EQ(SwapAfterCheck::fired, 1) << c.name;
        // What is read is what is there at the read; nothing half-read stays.
        ASSERT_EQ(store().mParamModes.size(), c.loaded ? 1u : 0u) << c.name;
        if (c.loaded) {
            EXPECT_EQ(store().mParamModes.at("param00000")->red[0][0], c.red00) << c.name;
        }
    }
    rmdir(dataPath(kMode).c_str());
}

}  // namespace
}  // namespace paramtest
