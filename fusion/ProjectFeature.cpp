#include "fusion/ProjectFeature.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <cctype>
#include <cfloat>
#include <cmath>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <memory>

#include "factory/AidlSensorFactoryHalWrapper.h"
#include "fusion/LuxCurve.h"
#include "fusion/SharedState.h"
#include "platform/Log.h"
#include "platform/Properties.h"

namespace android {

namespace {

constexpr const char* kDefaultProductModel = "KX7301";
// Relative on purpose: it resolves against the service's working directory.
constexpr const char* kPanelIdentityPath = "sys/lcm/lcm_id";
constexpr size_t kPanelIdentityBytes = 10;

struct PanelIdentity {
    const char* bytes;  // exactly kPanelIdentityBytes characters, compared whole
    int id;
};
constexpr PanelIdentity kPanelIdentities[] = {
        {"0x000000a0", 1}, {"0x00000030", 2}, {"0x00000031", 3},
        {"0x00000010", 4}, {"0x00000036", 5},
};

// A calibration factor below single-precision 1e-5 (0, negative, or text that
// does not convert) means "not calibrated".
constexpr double kMinCaliFactor = static_cast<double>(1e-5f);

// Scans a decimal integer the way "%d" does (leading blanks, optional sign),
// saturating instead of overflowing. Text that does not scan leaves `out`.
void scanInt(const char* text, int* out) {
    while (std::isspace(static_cast<unsigned char>(*text))) ++text;
    const char* p = text;
    if (*p == '+' || *p == '-') ++p;
    if (!std::isdigit(static_cast<unsigned char>(*p))) return;
    errno = 0;
    long long v = std::strtoll(text, nullptr, 10);
    if (v > INT_MAX) v = INT_MAX;
    if (v < INT_MIN) v = INT_MIN;
    *out = static_cast<int>(v);
}

// Rounds half away from zero and saturates at the int limits; NaN gives 0.
int roundSaturated(double v) {
    if (!(v == v)) return 0;
    const double r = std::round(v);
    if (r >= static_cast<double>(INT_MAX)) return INT_MAX;
    if (r <= static_cast<double>(INT_MIN)) return INT_MIN;
    return static_cast<int>(r);
}

// The model's mode argument for the host's screen-hop mode. The two numberings
// run opposite ways on purpose: hop mode 0 uses the model's mode-2 weights,
// hop mode 1 mode 1, anything else the weights of the other modes.
int screenHopCode(int mode) {
    if (mode == 0) return 2;
    if (mode == 1) return 1;
    return 0;
}

}  // namespace

ProjectFeature* ProjectFeature::mProject = nullptr;

ProjectFeature* ProjectFeature::getInstance() {
    if (mProject == nullptr) mProject = new ProjectFeature();
    return mProject;
}

ProjectFeature::ProjectFeature()
    : luxScale(1.0f),
      autoTest(0),
      isOverSeas(false),
      mModel(),
      sampleCols(51),
      sampleRows(81),
      lastDelta(nullptr),
      displayId(-1),
      caliFactor{1.0f, 1.0f, 1.0f, 1.0f, 1.0f},
      caliFactorCount(5),
      eyeParam{1.0, 1.0, 1.0} {
    char value[PROPERTY_VALUE_MAX] = {0};

    property_get("persist.sys.skip_restrict", value, "0");
    scanInt(value, &autoTest);

    property_get("ro.product.model.qmx", value, kDefaultProductModel);
    isOverSeas = std::strcmp(value, kDefaultProductModel) != 0;
    SC_LOGI("UL: ProjectFeature->default. autoTest = %d isOverSeas = %d", autoTest, isOverSeas);

    int threshold = 500;
    property_get("persist.sys.light_threshold", value, "500");
    scanInt(value, &threshold);
    luxScale = threshold != 0 ? 500.0f / static_cast<float>(threshold) : 500.0f;
    SC_LOGI("ProjectFeature->default. calibraton = %d", threshold);

    getDisplayId();
    getChannelCaliParam();
}

int ProjectFeature::getDisplayId() {
    if (displayId != -1) {
        SC_LOGE("UL: getDisplayId again %d", displayId);
        return displayId;
    }
    char bytes[kPanelIdentityBytes] = {0};
    int fd = open(kPanelIdentityPath, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        SC_LOGE("UL: getDisplayId open file failed!");
    } else {
        ssize_t n;
        do {
            n = read(fd, bytes, sizeof(bytes));
        } while (n < 0 && errno == EINTR);
        close(fd);
    }
    for (const PanelIdentity& panel : kPanelIdentities) {
        if (std::memcmp(bytes, panel.bytes, kPanelIdentityBytes) == 0) {
            displayId = panel.id;
            break;
        }
    }
    SC_LOGE("UL: getDisplayId %d", displayId);
    return displayId;
}

void ProjectFeature::getChannelCaliParam() {
    // Read in the order r, g, b, c, w into the c, r, g, b, w slots.
    static constexpr struct {
        const char* property;
        int slot;
    } kFactors[] = {
            {"persist.sys.mscct.cali.factor_r", 1}, {"persist.sys.mscct.cali.factor_g", 2},
            {"persist.sys.mscct.cali.factor_b", 3}, {"persist.sys.mscct.cali.factor_c", 0},
            {"persist.sys.mscct.cali.factor_w", 4},
    };
    char value[PROPERTY_VALUE_MAX] = {0};
    for (const auto& f : kFactors) {
        property_get(f.property, value, "1");
        double v = std::atof(value);
        // Written so that a NaN text ("nan") also falls back to 1.0.
        if (!(v >= kMinCaliFactor)) {
            caliFactor[f.slot] = 1.0f;
        } else {
            // Beyond the float range the device's conversion gives infinity; say so
            // explicitly rather than leave it to an undefined conversion.
            caliFactor[f.slot] = v > FLT_MAX ? INFINITY : static_cast<float>(v);
        }
    }
    SC_LOGI("UL: getChannelCaliParam crgbw:[%.6f %.6f %.6f %.6f %.6f]", caliFactor[0], caliFactor[1],
            caliFactor[2], caliFactor[3], caliFactor[4]);
}

float ProjectFeature::calcLuxForProject(double* crgbw, float lux) {
    const float s = luxScale * lux;
    if (displayId == 2 || displayId == 3) return luxcurve::applyG1(s);
    if (displayId == 4 || displayId == 5) return luxcurve::applyG2(s);

    if (brightness <= 5513) {
        if (mLogSwitch != 0) {
            SC_LOGE("UL: calcLuxForProject displayId %d, br %d < 5514, use originLux %f", displayId,
                    brightness, lux);
        }
        return luxcurve::applyG1(s);
    }

    const float c = static_cast<float>(crgbw[0] * caliFactor[0]);
    const float r = static_cast<float>(crgbw[1] * caliFactor[1]);
    const float g = static_cast<float>(crgbw[2] * caliFactor[2]);
    const float b = static_cast<float>(crgbw[3] * caliFactor[3]);
    const float w = static_cast<float>(crgbw[4] * caliFactor[4]);
    float L = luxcurve::channelFormula(r, g, b);
    if (mLogSwitch != 0) {
        SC_LOGE("UL: calcLuxForProject displayId %d, br %d, crgbw[%f, %f, %f, %f, %f], "
                "cal_crgbw[%f, %f, %f, %f, %f], originLux %f, finalLux %f ",
                displayId, brightness, crgbw[0], crgbw[1], crgbw[2], crgbw[3], crgbw[4], c, r, g, b, w,
                lux, L);
    }
    if (autoTest == 0 && L < 0.0f) L = 0.0f;
    return luxcurve::applyG1(L);
}

float ProjectFeature::calByCoefficient7301(float lux) { return luxcurve::applyG1(lux); }

void ProjectFeature::setProjectEyeParam(double r, double g, double b) {
    eyeParam[0] = r;
    eyeParam[1] = g;
    eyeParam[2] = b;
}

bool ProjectFeature::calcProjectCNNLuxDelta(android::Vector<int> pixels, int br, int width, int height,
                                            float* delta) {
    if (displayId != 1) return false;
    const long long count = static_cast<long long>(pixels.size());
    // width * height always fits in 64 bits; three times it may not.
    const long long cells = static_cast<long long>(width) * height;
    if (count % 3 != 0 || count / 3 != cells) {
        if (mLogSwitch != 0) SC_LOGE("pixcel info error size = %d", static_cast<int>(count));
        return false;
    }
    // Dimensions that multiply to the right count but cannot index the capture
    // (zero, or both negative) would read outside it.
    if (width <= 0 || height <= 0) {
        SC_LOGE("UL: calcCNNLuxDelta invalid capture %d x %d", width, height);
        return false;
    }

    float blk[5], nblk[5];
    std::memcpy(blk, channelsBlk, sizeof(blk));
    std::memcpy(nblk, channelsNblk, sizeof(nblk));

    constexpr int kRows = light_regression::kImageRows, kCols = light_regression::kImageCols;
    int sample[kRows][kCols][3];
    std::memset(sample, 0, sizeof(sample));
    const int rows = sampleRows < kRows ? sampleRows : kRows;
    const int cols = sampleCols < kCols ? sampleCols : kCols;
    const int* px = pixels.array();
    // Nearest-neighbour sampling: each cell takes the pixel at its top-left.
    // The source columns are the same for every row.
    long long srcCol[kCols];
    for (int j = 0; j < cols; ++j) srcCol[j] = static_cast<long long>(j) * width / sampleCols;
    // With the default eye parameters of 1.0 the weighting is exact on
    // integers, so the pixels are copied as they are.
    const bool unweighted = eyeParam[0] == 1.0 && eyeParam[1] == 1.0 && eyeParam[2] == 1.0;
    for (int i = 0; i < rows; ++i) {
        const long long srcRow = static_cast<long long>(i) * height / sampleRows;
        const int* row = px + srcRow * width * 3;
        if (unweighted) {
            for (int j = 0; j < cols; ++j) {
                const int* p = row + srcCol[j] * 3;
                sample[i][j][0] = p[0];
                sample[i][j][1] = p[1];
                sample[i][j][2] = p[2];
            }
        } else {
            for (int j = 0; j < cols; ++j) {
                const int* p = row + srcCol[j] * 3;
                for (int k = 0; k < 3; ++k) sample[i][j][k] = roundSaturated(p[k] * eyeParam[k]);
            }
        }
    }

    const int hop = screenHopCode(screenHopMode);
    lastDelta = mModel.model_predict(sample, nblk, blk, br, hop);
    for (int k = 0; k < 5; ++k) delta[k] = lastDelta[k];

    if (mLogSwitch != 0) {
        SC_LOGI("UL: calcCNNLuxDelta crgbw blk[%f, %f, %f, %f, %f], nblk[%f, %f, %f, %f, %f], "
                "cnnDelta[%f, %f, %f, %f, %f], br %d hop%d",
                blk[0], blk[1], blk[2], blk[3], blk[4], nblk[0], nblk[1], nblk[2], nblk[3], nblk[4], delta[0],
                delta[1], delta[2], delta[3], delta[4], br, hop);
    }
    return true;
}

int ProjectFeature::getProjectPixcelModel() { return 1; }

void ProjectFeature::getPixcelScope(int width, int* scope) {
    static constexpr int kReferenceScope[4] = {686, 43, 729, 112};
    static constexpr int kOtherScope[4] = {800, 50, 850, 130};
    const int referenceWidth = isOverSeas ? 420 : 480;
    const int* src = width == referenceWidth ? kReferenceScope : kOtherScope;
    for (int i = 0; i < 4; ++i) scope[i] = src[i];
}

namespace {

// The driver's light-sensor calibration test and its request: the first three
// arguments are fixed by the driver's test protocol, the rest stay zero.
constexpr int kSixthLightCaliTest = 0x24E;
constexpr int kSixthLightCaliArgs[3] = {1, 12208, 255};
constexpr int kTestArgCount = 32;

}  // namespace

void ProjectFeature::updateProjectSixthLightCali() {
    if (displayId != 1) return;

    // One client per update; the shared owner releases it on every path.
    std::shared_ptr<AidlSensorFactoryHalWrapper> client = std::make_shared<AidlSensorFactoryHalWrapper>();
    if (!client->getService()) {
        SC_LOGI("UL: AidlSensorFactoryHalWrapper getService failed");
        return;
    }
    auto* result = static_cast<__test_result_v2*>(std::malloc(sizeof(__test_result_v2)));
    if (result == nullptr) {
        // This one line goes out under the short tag on purpose.
        __android_log_print(ANDROID_LOG_ERROR, "ZSensorFusion",
                            "UL: AidlSensorFactoryHalWrapper p_test_result_v2_2 nullptr pointer!!");
        return;
    }
    result->success = 0;
    result->val[0] = 0.0f;
    int args[kTestArgCount] = {kSixthLightCaliArgs[0], kSixthLightCaliArgs[1], kSixthLightCaliArgs[2]};
    const int ret = client->zarnSensorTestV2(result, kSixthLightCaliTest, args);
    client->showSensorTestResultV2(result);
    SC_LOGI("UL: initDriverCali AidlSensorFactoryHalWrapper 0x24e ret = %d", ret);

    // [colour][group][channel c, r, g, b, w]: exactly val[0..29] in order.
    float cali[3][2][5];
    std::memset(cali, 0, sizeof(cali));
    for (int k = 0; k < 3; ++k) {
        std::memcpy(cali[k], &result->val[10 * k], sizeof(cali[k]));
        SC_LOGI("UL: initDriverCali  color:%d nblk crgbw:[ %.6f %.6f %.6f %.6f %.6f ]", k, cali[k][0][0],
                cali[k][0][1], cali[k][0][2], cali[k][0][3], cali[k][0][4]);
        SC_LOGI("UL: initDriverCali  color:%d blk crgbw:[%.6f %.6f %.6f %.6f %.6f]", k, cali[k][1][0],
                cali[k][1][1], cali[k][1][2], cali[k][1][3], cali[k][1][4]);
    }
    std::free(result);
    // Installed whatever the test reported: a failed or unanswered test hands
    // over the initialised record (-1.0 then zeros), which the model's ratio
    // window then rejects frame by frame.
    mModel.initCalibration(cali);
}

}  // namespace android
