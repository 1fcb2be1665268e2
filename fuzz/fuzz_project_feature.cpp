// The project features with arbitrary property values and panel identity
// bytes: construction (which reads them all), the lux formula and the pixel
// scope.
//
// Input: NUL-separated pieces: the panel identity file's bytes, then the
// values of "persist.sys.skip_restrict", "ro.product.model.qmx",
// "persist.sys.light_threshold" and the five calibration factors (r, g, b,
// c, w); the last piece gives five channel readings (doubles), the lux
// (float), the brightness and the capture width (32 bits each).

#include <android-base/properties.h>
#include <android/log.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>

#include "fusion/ProjectFeature.h"
#include "fusion/SharedState.h"
#include "fuzz/FuzzInput.h"
#include "tests/support/ProjectProperties.h"

namespace {

using sctest::kProjectProperties;
constexpr size_t kPropertyCount = sctest::kProjectPropertyCount;

// The identity file is relative to the working directory: work in a scratch
// directory of our own.
bool enterScratchDir() {
    char dir[] = "/tmp/sc-fuzz-feature-XXXXXX";
    if (mkdtemp(dir) == nullptr || chdir(dir) != 0) return false;
    mkdir("sys", 0755);
    mkdir("sys/lcm", 0755);
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool ready = [] {
        __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
        return enterScratchDir();
    }();
    if (!ready) return 0;

    const std::vector<std::string> parts = scfuzz::splitAtNul(data, size, kPropertyCount + 2);
    if (FILE* f = std::fopen("sys/lcm/lcm_id", "wb")) {
        std::fwrite(parts[0].data(), 1, parts[0].size(), f);
        std::fclose(f);
    }
    for (size_t i = 0; i < kPropertyCount; ++i)
        android::base::SetProperty(kProjectProperties[i], i + 1 < parts.size() ? parts[i + 1] : "");

    const std::string& tail = parts.size() == kPropertyCount + 2 ? parts.back() : std::string();
    scfuzz::Input in(reinterpret_cast<const uint8_t*>(tail.data()), tail.size());
    double crgbw[5];
    for (double& v : crgbw) v = in.take<double>();
    const float lux = in.take<float>();
    brightness = in.take<int32_t>();
    const int width = in.take<int32_t>();
    mLogSwitch = 1;

    std::unique_ptr<android::ProjectFeature> feature(new android::ProjectFeature());
    feature->calcLuxForProject(crgbw, lux);
    feature->calByCoefficient7301(lux);
    int scope[4];
    feature->getPixcelScope(width, scope);
    feature->getDisplayId();
    return 0;
}
