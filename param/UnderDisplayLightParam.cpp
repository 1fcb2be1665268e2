#include "param/UnderDisplayLightParam.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

#include "fusion/RootFusion.h"
#include "fusion/SharedState.h"
#include "param/JsonFile.h"
#include "param/Rectify.h"
#include "platform/ConfigPath.h"
#include "platform/Log.h"

namespace android {

namespace json = sensorconfig::json;
namespace rectify = sensorconfig::rectify;

namespace {

// Where the device keeps its parameter files. The three marked "host side"
// belong to the sensor service's own checks; the store only defines them.
const std::string sSystemConfigDir = "/system/etc/SensorConfig/";
[[maybe_unused]] const std::string sSensorServiceDir = "/data/system/sensor_service/";  // host side
[[maybe_unused]] const std::string sUnderLightCheckProp = "persist.zarn.underlightcheck";  // host side
const std::string sParamLocationPath = "/system/etc/SensorConfig/underlight_paramlocation.json";
const std::string sNetworkParamLocationPath = "/data/SensorConfig/underlight_paramlocation.json";
[[maybe_unused]] const std::string sCheckParamLocationPath = "/data/system/sensor_service/check_underlightparam_location.json";  // host side
const std::string sNetworkConfigPath = "/system/etc/SensorConfig/NetworkConfig.json";

// The walk builds a name for every IC index up to the switch's value; a
// corrupt switch (a billion) must not turn start-up into billions of opens.
// Indices above 9 cannot be looked up anyway, only their weight grids.
constexpr int kMaxWalkedIcIndex = 99;

bool fileExists(const std::string& path) {
    return access(sensorconfig::resolveConfigPath(path).c_str(), F_OK) == 0;
}

// Modes are named by concatenating the decimal numbers, so ICs of two digits
// give longer names (and may collide with other combinations).
std::string modeName(int acl, int displaymode, int lightIc, int displayIc, int dc) {
    char name[64];
    std::snprintf(name, sizeof(name), "param%d%d%d%d%d", acl, displaymode, lightIc, displayIc, dc);
    return name;
}

}  // namespace

UnderDisplayLightParam* UnderDisplayLightParam::mUnderDisplayLightParam = nullptr;
android::Mutex UnderDisplayLightParam::sBaseLock;

UnderDisplayLightParam* UnderDisplayLightParam::getInstance() {
    if (mUnderDisplayLightParam == nullptr) mUnderDisplayLightParam = new UnderDisplayLightParam();
    return mUnderDisplayLightParam;
}

UnderDisplayLightParam::UnderDisplayLightParam()
    : mRect{},
      mRectLightB{},
      mRectLightC{},
      mRectDpiCompatible{},
      mSupportDcFeature(true),
      mSupportAcl3(false),
      mLightIcNum(0),
      mDisplayIcNum(0),
      mAllModeParsed(false),
      mIsNeedLocationCalculator(0),
      mIsNeedCompatible(0),
      mCurrentParamMode("null") {
    mParamModes.max_load_factor(1.0f);
    mDeltaWeights.max_load_factor(1.0f);
    SC_LOGE(" UL: constructor start");
    getLocalNetworkVersion();
}

UnderDisplayLightParam::~UnderDisplayLightParam() {
    for (auto& entry : mParamModes) delete entry.second;
    mParamModes.clear();
    mDeltaWeights.clear();
}

// ---- Files, paths and versions ------------------------------------------

void UnderDisplayLightParam::getLocalNetworkVersion() {
    if (!fileExists(sNetworkConfigPath)) return;
    Json::Value root;
    std::string errs;
    json::parseFile(sNetworkConfigPath, &root, &errs);  // a failed parse leaves root empty
    if (!json::readString(json::member(root, "localNetworkVersion"), &mLocalNetworkVersion))
        json::logBadValue(sNetworkConfigPath, "localNetworkVersion", "a string");
    SC_LOGE("mLocalNetworkVersion : %s ", mLocalNetworkVersion.c_str());
}

bool UnderDisplayLightParam::isNetworkFileValid(std::string path) {
    if (!fileExists(path)) return false;
    Json::Value root;
    std::string errs;
    if (!json::parseFile(path, &root, &errs)) return false;
    std::string networkVersion;
    if (!json::readString(json::member(root, "networkVersion"), &networkVersion))
        json::logBadValue(path, "networkVersion", "a string");
    SC_LOGE("mLocalNetworkVersion : %s , network_version : %s", mLocalNetworkVersion.c_str(),
            networkVersion.c_str());
    // Versions are labels, not an order: only an exact match is accepted.
    bool valid = std::strcmp(mLocalNetworkVersion.c_str(), networkVersion.c_str()) == 0;
    if (valid) SC_LOGE("%s is valid.", path.c_str());
    return valid;
}

std::string UnderDisplayLightParam::getNetworkUnderDisplayParamParseOneModePath(std::string mode) {
    return "/data/SensorConfig/underlight_" + mode + ".json";
}

std::string UnderDisplayLightParam::getUnderDisplayParamParseOneModePath(std::string mode) {
    return sSystemConfigDir + "underlight_" + mode + ".json";
}

// ---- Sensor location and feature switches --------------------------------

void UnderDisplayLightParam::parseLightLocation(std::string key) {
    std::string path = isNetworkFileValid(sNetworkParamLocationPath) ? sNetworkParamLocationPath : sParamLocationPath;
    path = RootFusion::getInstance()->modiyFileNamebyProject(path);
    Json::Value root;
    std::string errs;
    if (!json::parseFile(path, &root, &errs)) {
        SC_LOGI("UL: parseLightLocation failed: %s", errs.c_str());
        return;
    }
    mReadingPath = path;
    const Json::Value& location = json::member(root, "paramlocation");
    if (location.isObject()) {
        parseLightLocationByType(location, "sensordisplaylocation", mRect);
        parseLightLocationByType(location, "sensordisplaylocationlightB", mRectLightB);
        parseLightLocationByType(location, "sensordisplaylocationlightC", mRectLightC);
        parseLightLocationByType(location, key, mRectDpiCompatible);
        // The switch names the absence of DC dimming: a missing key keeps it on.
        mSupportDcFeature = checkFeatureInt(location, "notmSupportDcFeature") != 1;
        mSupportAcl3 = checkFeatureInt(location, "supportAcl3") == 1;
        mLightIcNum = checkFeatureInt(location, "supportSecondLight");
        mDisplayIcNum = checkFeatureInt(location, "supportSecondDisplay");
        mIsNeedLocationCalculator = checkFeatureInt(location, "isNeedCalIcLocationPixel");
        mIsNeedCompatible = checkNeedCompatible(root);
        useChannelsWeightDelta = checkFeatureInt(location, "supportWeightDelta") == 1;
    }
    mReadingPath.clear();
    SC_LOGI("UL: parseLightLocation mRect[%d, %d, %d, %d] mRectLightB[%d, %d, %d, %d] mRectLightC[%d, %d, %d, %d] "
            "mRectDpiCompatible[%d, %d, %d, %d]",
            mRect.coords[0], mRect.coords[1], mRect.coords[2], mRect.coords[3], mRectLightB.coords[0],
            mRectLightB.coords[1], mRectLightB.coords[2], mRectLightB.coords[3], mRectLightC.coords[0],
            mRectLightC.coords[1], mRectLightC.coords[2], mRectLightC.coords[3], mRectDpiCompatible.coords[0],
            mRectDpiCompatible.coords[1], mRectDpiCompatible.coords[2], mRectDpiCompatible.coords[3]);
    SC_LOGI("UL: parseLightLocation mSupportDcFeature = %d, mLightIcNum = %d, mDisplayIcNum = %d, "
            "mIsNeedLocationCalculator = %d, mIsNeedCompatible = %d, mSupportDeltaWeights = %d",
            mSupportDcFeature, mLightIcNum, mDisplayIcNum, mIsNeedLocationCalculator, mIsNeedCompatible,
            useChannelsWeightDelta);
}

void UnderDisplayLightParam::parseLightLocationByType(const Json::Value& location, std::string key,
                                                      UnderLightRect& rect) {
    const Json::Value& value = json::member(location, key);
    bool bad = false;
    for (unsigned i = 0; i < 4; ++i) {
        int v = 0;
        if (value.isArray() && !json::readInt(json::element(value, i), &v)) bad = true;
        rect.coords[i] = v;  // beyond a short array's end: 0
    }
    if (bad) json::logBadValue(mReadingPath, "paramlocation." + key, "an array of integers");
}

int UnderDisplayLightParam::checkFeatureInt(const Json::Value& location, std::string key) {
    int v = 0;
    if (!json::readInt(json::member(location, key), &v))
        json::logBadValue(mReadingPath, "paramlocation." + key, "an integer");
    return v;
}

bool UnderDisplayLightParam::checkNeedCompatible(const Json::Value& root) {
    const Json::Value& location = json::member(root, "paramlocation");
    if (!location.isObject()) return false;
    for (const std::string& name : location.getMemberNames()) {
        if (name.size() < 8) continue;
        if (name.find("domestic") != std::string::npos || name.find("overseas") != std::string::npos) {
            SC_LOGD("UL: isNeedCompatible =  %d", 1);
            return true;
        }
    }
    return false;
}

void UnderDisplayLightParam::getCurrentUnderDisplayLightRect(UnderLightRect* out) {
    if (out != nullptr) *out = mRect;
}

void UnderDisplayLightParam::getCurrentUnderDisplayRectLightB(UnderLightRect* out) {
    if (out != nullptr) *out = mRectLightB;
}

void UnderDisplayLightParam::getCurrentUnderDisplayRectLightC(UnderLightRect* out) {
    if (out != nullptr) *out = mRectLightC;
}

void UnderDisplayLightParam::getCurrentUnderDisplayLightRectCompatible(std::string prefix, int index,
                                                                       UnderLightRect* out) {
    mCompatibleKey = prefix + std::to_string(index);
    parseLightLocation(mCompatibleKey);
    if (out != nullptr) *out = mRectDpiCompatible;
}

// ---- The walk over all modes -----------------------------------------------

int UnderDisplayLightParam::underDisplayParamParaseAllMode() {
    sBaseLock.lock();
    SC_LOGE("UL:  UnderDisplayParamParaseAllMode start");
    parseLightLocation("NULL");
    underDisplayParamParseAcl();
    mAllModeParsed = true;
    SC_LOGE("UL: UnderDisplayParamParaseAllMode end");
    sBaseLock.unlock();  // the platform mutex reports nothing on release
    return 0;
}

void UnderDisplayLightParam::underDisplayParamParseAcl() {
    if (mLightIcNum > kMaxWalkedIcIndex || mDisplayIcNum > kMaxWalkedIcIndex)
        SC_LOGE("UL: supportSecondLight = %d, supportSecondDisplay = %d: IC indices above %d are not parsed",
                mLightIcNum, mDisplayIcNum, kMaxWalkedIcIndex);
    // ACL level 2 shares the modes of level 1; level 3 has its own only when
    // the location file says so, and is the last level.
    for (int acl = 0; acl <= 3; ++acl) {
        if (acl == 2) continue;
        if (acl == 3 && !mSupportAcl3) break;
        underDisplayParamParseDisplaymode(acl);
    }
}

void UnderDisplayLightParam::underDisplayParamParseDisplaymode(int acl) {
    for (int displaymode = 0; displaymode < 6; ++displaymode) underDisplayParamParseLightIc(acl, displaymode);
}

void UnderDisplayLightParam::underDisplayParamParseLightIc(int acl, int displaymode) {
    for (int lightIc = 0; lightIc <= mLightIcNum && lightIc <= kMaxWalkedIcIndex; ++lightIc)
        underDisplayParamParseDisplayIc(acl, displaymode, lightIc);
}

void UnderDisplayLightParam::underDisplayParamParseDisplayIc(int acl, int displaymode, int lightIc) {
    for (int displayIc = 0; displayIc <= mDisplayIcNum && displayIc <= kMaxWalkedIcIndex; ++displayIc)
        underDisplayParamParseDcFeature(acl, displaymode, lightIc, displayIc);
}

void UnderDisplayLightParam::underDisplayParamParseDcFeature(int acl, int displaymode, int lightIc, int displayIc) {
    for (int dc = 0; dc < 2; ++dc) {
        if (dc == 1 && !mSupportDcFeature) break;
        std::string name = modeName(acl, displaymode, lightIc, displayIc, dc);
        underDisplayParamParseOneMode(name);
        if (useChannelsWeightDelta) parseOneModeDeltaWeight(name);
    }
}

// ---- One mode's record -------------------------------------------------------

void UnderDisplayLightParam::underDisplayParamParseOneMode(std::string mode) {
    std::string networkPath = getNetworkUnderDisplayParamParseOneModePath(mode);
    std::string localPath = getUnderDisplayParamParseOneModePath(mode);
    const std::string& path = isNetworkFileValid(networkPath) ? networkPath : localPath;
    Json::Value root;
    std::string errs;
    if (!json::parseFile(path, &root, &errs)) return;
    SC_LOGI("UL: UnderDisplayParamParseOneMode %s start", mode.c_str());
    if (!json::member(root, mode).isObject()) return;
    bool complete = true;
    for (const char* key : {"red", "green", "blue", "ir"}) complete = isHasRgbIrParamOneMode(mode, root, key) && complete;
    if (!complete) return;
    if (mParamModes.count(mode) != 0) {
        SC_LOGE("UL: UnderDisplayParamParseOneMode skip repeated mode = %s", mode.c_str());
        return;
    }
    // Zeroed, so that a file without golden values or sections yields zeros
    // rather than whatever the allocator left.
    UnderLightParamInfo* info = new (std::nothrow) UnderLightParamInfo();
    if (info == nullptr) {
        SC_LOGE("UL: UnderDisplayParamParseOneMode %s: out of memory", mode.c_str());
        return;
    }
    info->header = 0;
    info->flag = false;
    mReadingPath = path;
    parseOneModeGoldenValue(info, root, mode);
    parseOneModeParamSection(info, root, mode);
    parseOneModeRgbIr(info, root, mode);
    mReadingPath.clear();
    mParamModes.emplace(mode, info);
    SC_LOGI("UL: UnderDisplayParamParseOneMode %s end", mode.c_str());
}

bool UnderDisplayLightParam::isHasRgbIrParamOneMode(std::string mode, const Json::Value& root, std::string key) {
    const Json::Value& table = json::member(json::member(root, mode), key);
    if (!table.isArray() || table.size() != static_cast<unsigned>(kTermCount)) return false;
    // Only row 0 is measured; shorter later rows read as zeros.
    const Json::Value& row0 = json::element(table, 0);
    return row0.isArray() && row0.size() == static_cast<unsigned>(kSectionCount);
}

int UnderDisplayLightParam::parseOneModeGoldenValue(UnderLightParamInfo* info, const Json::Value& root,
                                                    std::string mode) {
    if (info == nullptr) return 0;
    const Json::Value& golden = json::member(json::member(root, mode), "param_golden_value");
    int v = 0;
    bool ok = true;
    if (golden.isArray()) {
        if (golden.size() == static_cast<unsigned>(kSectionCount)) {
            for (unsigned i = 0; i < static_cast<unsigned>(kSectionCount); ++i) {
                if (!json::readInt(json::element(golden, i), &v)) ok = false;
                info->goldenValue[i] = v;
            }
        } else {
            // Any other length: the first value for every section.
            ok = json::readInt(json::element(golden, 0), &v);
            for (int i = 0; i < kSectionCount; ++i) info->goldenValue[i] = v;
        }
    } else {
        ok = json::readInt(golden, &v);
        if (v >= 1)
            for (int i = 0; i < kSectionCount; ++i) info->goldenValue[i] = v;
    }
    if (!ok) json::logBadValue(mReadingPath, mode + ".param_golden_value", "an integer");
    return v;
}

void UnderDisplayLightParam::parseOneModeParamSection(UnderLightParamInfo* info, const Json::Value& root,
                                                      std::string mode) {
    if (info == nullptr) return;
    const Json::Value& section = json::member(json::member(root, mode), "param_section");
    if (!section.isArray()) return;
    bool ok = true;
    for (unsigned i = 0; i < static_cast<unsigned>(kBoundCount); ++i) {
        int v = 0;
        if (!json::readInt(json::element(section, i), &v)) ok = false;
        info->paramSection[i] = v;
    }
    if (!ok) json::logBadValue(mReadingPath, mode + ".param_section", "an array of integers");
}

void UnderDisplayLightParam::parseOneModeRgbIr(UnderLightParamInfo* info, const Json::Value& root, std::string mode) {
    if (info == nullptr) return;
    const Json::Value& modeValue = json::member(root, mode);
    const Json::Value& red = json::member(modeValue, "red");
    const Json::Value& red0 = json::element(red, 0);
    unsigned rows = red.isArray() ? red.size() : 0;
    unsigned columns = red0.isArray() ? red0.size() : 0;
    if (rows < 1) return;
    // "red" sets the shape of all four tables, within the record's bounds.
    if (rows > static_cast<unsigned>(kTermCount)) rows = kTermCount;
    if (columns > static_cast<unsigned>(kSectionCount)) columns = kSectionCount;
    struct Table {
        const char* key;
        double (*dest)[kSectionCount];
    } tables[] = {{"red", info->red}, {"green", info->green}, {"blue", info->blue}, {"ir", info->ir}};
    for (const Table& table : tables) {
        const Json::Value& value = json::member(modeValue, table.key);
        bool ok = true;
        for (unsigned i = 0; i < rows; ++i) {
            const Json::Value& row = json::element(value, i);
            if (!row.isNull() && !row.isArray()) ok = false;
            for (unsigned j = 0; j < columns; ++j) {
                double v = 0.0;
                if (!json::readDouble(json::element(row, j), &v)) ok = false;
                table.dest[i][j] = v;  // beyond a short row's end: 0.0
            }
        }
        if (!ok) json::logBadValue(mReadingPath, mode + "." + table.key, "an array of arrays of finite numbers");
    }
}

// ---- Delta weights -------------------------------------------------------------

void UnderDisplayLightParam::parseOneModeDeltaWeight(std::string mode) {
    std::string path = sSystemConfigDir + "underlight_" + mode + "_weights" + ".json";
    Json::Value root;
    std::string errs;
    if (!json::parseFile(path, &root, &errs)) return;
    SC_LOGI("UL: parseOneModeDeltaWeight %s start", mode.c_str());
    const Json::Value& rowsValue = json::member(root, mode);
    if (!rowsValue.isArray()) return;
    if (mDeltaWeights.count(mode) != 0) {
        SC_LOGE("UL: parseOneModeDeltaWeight skip repeated mode = %s", mode.c_str());
        return;
    }
    std::vector<std::vector<float>> grid;
    grid.reserve(rowsValue.size());
    bool ok = true;
    for (const Json::Value& rowValue : rowsValue) {
        std::vector<float> row;
        if (rowValue.isArray()) {
            row.reserve(rowValue.size());
            for (const Json::Value& w : rowValue) {
                float f = 0.0f;
                if (!json::readFloat(w, &f)) ok = false;
                row.push_back(f);
            }
        }
        grid.push_back(std::move(row));
    }
    if (!ok) json::logBadValue(path, mode, "an array of arrays of numbers");
    mDeltaWeights.emplace(mode, std::move(grid));
    SC_LOGI("UL: parseOneModeDeltaWeight %s end", mode.c_str());
}

std::vector<std::vector<float>>& UnderDisplayLightParam::getOneModeDeltaWeight(int lightIc, int displayIc) {
    // Grids are shared by every ACL level, display mode and DC state of an IC pair.
    std::string key = "param" + std::string("0") + "0" + std::to_string(lightIc) + std::to_string(displayIc) + "0";
    auto found = mDeltaWeights.find(key);
    if (found != mDeltaWeights.end()) return found->second;
    // Deliberately remembered: a later parse of this mode skips it as repeated.
    auto inserted = mDeltaWeights.emplace(key, std::vector<std::vector<float>>());
    SC_LOGE("UL: getOneModeDeltaWeight lightIC = %d, displayIC = %d is null", lightIc, displayIc);
    return inserted.first->second;
}

// ---- Mode lookup and rectification --------------------------------------------

std::string UnderDisplayLightParam::getParamMode4UnderDisplayLight(int acl, int displaymode, int lightIc,
                                                                   int displayIc, int dcmode) {
    int aclDigit = 1;  // levels 1, 2, 4 and anything unknown share level 1's modes
    if (acl == 0) aclDigit = 0;
    else if (acl == 3) aclDigit = mSupportAcl3 ? 3 : 1;
    auto digit = [](int v) { return v >= 0 && v <= 9 ? v : 0; };
    int mode = digit(displaymode);
    int light = digit(lightIc);
    int display = digit(displayIc);
    const bool xdr = mode == 3 || mode == 5;
    if (xdr) aclDigit = 0;
    int dc = dcmode != 0 && mSupportDcFeature && !xdr ? 1 : 0;
    std::string name = modeName(aclDigit, mode, light, display, dc);
    if (xdr) SC_LOGE("UL:  xdr use current_parammode %s", name.c_str());
    return name;
}

const UnderDisplayLightParam::UnderLightParamInfo* UnderDisplayLightParam::getCurrentUnderDisplayLightParamMode(
        int acl, int displaymode, int lightIc, int displayIc, int dcmode) {
    android::Mutex::Autolock lock(sBaseLock);
    std::string name = getParamMode4UnderDisplayLight(acl, displaymode, lightIc, displayIc, dcmode);
    if (name != mCurrentParamMode) SC_LOGD("UL: getCurrentUnderDisplayLightParamMode = %s", name.c_str());
    auto found = mParamModes.find(name);
    if (found != mParamModes.end()) {
        mCurrentParamMode = name;
        return found->second;
    }
    SC_LOGE("UL: RGBParam is null! ACL = %d, displaymode = %d, light_ic = %d, display_ic = %d, dcmode = %d", acl,
            displaymode, lightIc, displayIc, dcmode);
    return nullptr;
}

void UnderDisplayLightParam::calcRecitifyParamDeltaByBrRGB(const UnderLightParamInfo* info, int brightness,
                                                           const PixelsInfo* pixels, ChannelsDelta* delta,
                                                           int& golden) {
    if (info == nullptr || pixels == nullptr || delta == nullptr) return;
    if (pixels->r == 0 && pixels->g == 0 && pixels->b == 0) return;
    const int section = rectify::sectionOf(*info, brightness);
    golden = info->goldenValue[section];
    rectify::Powers r, g, b, br;
    rectify::powersOf(pixels->r, &r);
    rectify::powersOf(pixels->g, &g);
    rectify::powersOf(pixels->b, &b);
    rectify::powersOf(brightness, &br);
    double sums[4];
    rectify::sumsByPowers(*info, section, r, g, b, br, sums);
    delta->deltaR = rectify::clampBelowZero(sums[0]);
    delta->deltaG = rectify::clampBelowZero(sums[1]);
    delta->deltaB = rectify::clampBelowZero(sums[2]);
    delta->deltaC = rectify::clampBelowZero(sums[3]);
}

void UnderDisplayLightParam::calcRecitifyParamDeltaByBrRGBWeight(const android::Vector<int>& pixels, int lightId,
                                                                 int displayId, ChannelsDelta* delta) {
    const int width = icScopeWidth;
    const int height = icScopeHeight;
    const size_t size = pixels.size();
    // An empty or negative scope would index outside the buffer: refuse it as a size mismatch.
    if (width <= 0 || height <= 0 || static_cast<uint64_t>(size) != static_cast<uint64_t>(width) * height * 3) {
        // The line prints the width twice; tools that read the log expect it so.
        SC_LOGE("pixels info error size = %d, icScopeWidth = %d, icScopeHeight = %d", static_cast<int>(size), width,
                width);
        return;
    }
    if (delta == nullptr) return;
    const UnderLightParamInfo* info =
            getCurrentUnderDisplayLightParamMode(ACL, displayColorMode, lightId, displayId, displayDcState);
    const std::vector<std::vector<float>>& grid = getOneModeDeltaWeight(lightId, displayId);
    double sums[4] = {0.0, 0.0, 0.0, 0.0};
    const int br = brightness;
    if (!grid.empty())
        rectify::weightedSums(info, br, grid, pixels.array(), width, height, pixelsEyeRatio, rectify::ByPowers(br),
                              sums);
    delta->deltaR = sums[0];
    delta->deltaG = sums[1];
    delta->deltaB = sums[2];
    delta->deltaC = sums[3];
    SC_LOGD("UL: calc weight br = %d, lightid = %d, displayid = %d, rgbc delta = %f, %f, %f, %f", br, lightId,
            displayId, delta->deltaR, delta->deltaG, delta->deltaB, delta->deltaC);
}

}  // namespace android
