#pragma once

#include <json/json.h>
#include <utils/Mutex.h>
#include <utils/Vector.h>

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/Export.h"

namespace android {

// Store of the tuned under-display light parameters: the sensor location file,
// one parameter file per mode (ACL level, display mode, light IC, display IC,
// DC dimming) and optional delta-weight grids. Replacement copies that arrive
// under /data by network update are used only when their version equals the
// device's network configuration version.
//
// Every value read from a file is type-checked first: a value of the wrong
// type or out of range reads as absent (0, 0.0, empty) with one log line that
// names the file and the key, so a malformed file never aborts the service.
class SC_EXPORT UnderDisplayLightParam {
public:
    struct UnderLightRect {
        int32_t coords[4];
    };

    static constexpr int kTermCount = 56;     // rows of a coefficient table
    static constexpr int kSectionCount = 7;   // brightness sections (columns)
    static constexpr int kBoundCount = 6;     // upper bounds of sections 0..5

    struct UnderLightParamInfo {
        int32_t header;
        int32_t goldenValue[kSectionCount];
        int32_t paramSection[kBoundCount];
        double red[kTermCount][kSectionCount];
        double green[kTermCount][kSectionCount];
        double blue[kTermCount][kSectionCount];
        double ir[kTermCount][kSectionCount];
        bool flag;
    };

    struct PixelsInfo {
        int32_t r;
        int32_t g;
        int32_t b;
    };

    struct ChannelsDelta {
        double deltaR;
        double deltaG;
        double deltaB;
        double deltaC;
    };

    // Not locked: the host makes the first call before any concurrent use.
    static UnderDisplayLightParam* getInstance();

    UnderDisplayLightParam();
    ~UnderDisplayLightParam();
    UnderDisplayLightParam(const UnderDisplayLightParam&) = delete;
    UnderDisplayLightParam& operator=(const UnderDisplayLightParam&) = delete;

    // Files, paths and versions.
    void getLocalNetworkVersion();
    bool isNetworkFileValid(std::string path);
    std::string getNetworkUnderDisplayParamParseOneModePath(std::string mode);
    std::string getUnderDisplayParamParseOneModePath(std::string mode);

    // Sensor location and feature switches.
    void parseLightLocation(std::string key);
    void parseLightLocationByType(const Json::Value& location, std::string key, UnderLightRect& rect);
    int checkFeatureInt(const Json::Value& location, std::string key);
    bool checkNeedCompatible(const Json::Value& root);
    void getCurrentUnderDisplayLightRect(UnderLightRect* out);
    void getCurrentUnderDisplayRectLightB(UnderLightRect* out);
    void getCurrentUnderDisplayRectLightC(UnderLightRect* out);
    void getCurrentUnderDisplayLightRectCompatible(std::string prefix, int index, UnderLightRect* out);

    // The walk over every mode that the switches allow. Holds sBaseLock
    // throughout; returns 0 once the lock is released.
    int underDisplayParamParaseAllMode();
    void underDisplayParamParseAcl();
    void underDisplayParamParseDisplaymode(int acl);
    void underDisplayParamParseLightIc(int acl, int displaymode);
    void underDisplayParamParseDisplayIc(int acl, int displaymode, int lightIc);
    void underDisplayParamParseDcFeature(int acl, int displaymode, int lightIc, int displayIc);

    // One mode's record.
    void underDisplayParamParseOneMode(std::string mode);
    bool isHasRgbIrParamOneMode(std::string mode, const Json::Value& root, std::string key);
    int parseOneModeGoldenValue(UnderLightParamInfo* info, const Json::Value& root, std::string mode);
    void parseOneModeParamSection(UnderLightParamInfo* info, const Json::Value& root, std::string mode);
    void parseOneModeRgbIr(UnderLightParamInfo* info, const Json::Value& root, std::string mode);

    // Delta weights. A lookup that misses inserts an empty grid under its key,
    // which a later parse of that mode then skips as repeated.
    void parseOneModeDeltaWeight(std::string mode);
    std::vector<std::vector<float>>& getOneModeDeltaWeight(int lightIc, int displayIc);

    // Mode lookup and rectification.
    std::string getParamMode4UnderDisplayLight(int acl, int displaymode, int lightIc, int displayIc, int dcmode);
    const UnderLightParamInfo* getCurrentUnderDisplayLightParamMode(int acl, int displaymode, int lightIc,
                                                                    int displayIc, int dcmode);
    void calcRecitifyParamDeltaByBrRGB(const UnderLightParamInfo* info, int brightness, const PixelsInfo* pixels,
                                       ChannelsDelta* delta, int& golden);
    void calcRecitifyParamDeltaByBrRGBWeight(const android::Vector<int>& pixels, int lightId, int displayId,
                                             ChannelsDelta* delta);

    static UnderDisplayLightParam* mUnderDisplayLightParam;
    static android::Mutex sBaseLock;

    UnderLightRect mRect;
    UnderLightRect mRectLightB;
    UnderLightRect mRectLightC;
    UnderLightRect mRectDpiCompatible;
    bool mSupportDcFeature;
    bool mSupportAcl3;
    int32_t mLightIcNum;
    int32_t mDisplayIcNum;
    std::string mLocalNetworkVersion;
    std::string mCompatibleKey;
    bool mAllModeParsed;
    std::unordered_map<std::string, UnderLightParamInfo*> mParamModes;
    std::unordered_map<std::string, std::vector<std::vector<float>>> mDeltaWeights;
    int32_t mIsNeedLocationCalculator;
    int32_t mIsNeedCompatible;
    std::string mCurrentParamMode;

private:
    // The file whose values are being read, for the line that reports a value
    // read as absent.
    std::string mReadingPath;
};

}  // namespace android
