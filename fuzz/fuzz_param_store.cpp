// The parameter store on an arbitrary configuration tree: the input becomes
// the location file, a mode file, its weight file, the network copy of the
// mode file and the network configuration; then a full parse, lookups and
// both rectification forms run on a fresh store.
//
// Input: NUL-separated pieces in that order (a missing piece means a missing
// file); a sixth piece gives the lookup keys, brightness, pixel and capture
// values.

#include <android/log.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utils/Vector.h>

#include <cstdio>
#include <string>

#include "fusion/SharedState.h"
#include "fuzz/FuzzInput.h"
#include "param/UnderDisplayLightParam.h"

namespace {

const char* const kFiles[] = {
        "/system/etc/SensorConfig/underlight_paramlocation.json",
        "/system/etc/SensorConfig/underlight_param00000.json",
        "/system/etc/SensorConfig/underlight_param00000_weights.json",
        "/data/SensorConfig/underlight_param00000.json",
        "/system/etc/SensorConfig/NetworkConfig.json",
};
constexpr size_t kFileCount = sizeof(kFiles) / sizeof(kFiles[0]);

std::string gRoot;

bool makeTree() {
    char dir[] = "/tmp/sc-fuzz-param-XXXXXX";
    if (mkdtemp(dir) == nullptr) return false;
    gRoot = dir;
    for (const char* d : {"/system", "/system/etc", "/system/etc/SensorConfig", "/data", "/data/SensorConfig"})
        mkdir((gRoot + d).c_str(), 0755);
    setenv("SENSOR_CONFIG_ROOT", gRoot.c_str(), 1);
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool ready = [] {
        __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
        return makeTree();
    }();
    if (!ready) return 0;

    const std::vector<std::string> parts = scfuzz::splitAtNul(data, size, kFileCount + 1);
    for (size_t i = 0; i < kFileCount; ++i) {
        const std::string path = gRoot + kFiles[i];
        if (i >= parts.size()) {
            std::remove(path.c_str());
            continue;
        }
        if (FILE* f = std::fopen(path.c_str(), "wb")) {
            std::fwrite(parts[i].data(), 1, parts[i].size(), f);
            std::fclose(f);
        }
    }
    const std::string tail = parts.size() > kFileCount ? parts[kFileCount] : std::string();
    scfuzz::Input in(reinterpret_cast<const uint8_t*>(tail.data()), tail.size());

    android::UnderDisplayLightParam store;
    store.underDisplayParamParaseAllMode();

    ACL = in.takeInRange(-1, 3);
    displayColorMode = in.takeInRange(-1, 6);
    displayDcState = in.takeInRange(-1, 2);
    const int lightIc = in.takeInRange(-1, 2);
    const int displayIc = in.takeInRange(-1, 2);
    brightness = in.take<int32_t>();
    const int br = in.take<int32_t>();
    android::UnderDisplayLightParam::PixelsInfo px{in.take<int32_t>(), in.take<int32_t>(), in.take<int32_t>()};
    for (double& r : pixelsEyeRatio) r = in.take<double>();

    android::UnderDisplayLightParam::UnderLightRect rect;
    store.getCurrentUnderDisplayLightRect(&rect);
    const android::UnderDisplayLightParam::UnderLightParamInfo* info =
            store.getCurrentUnderDisplayLightParamMode(ACL, displayColorMode, lightIc, displayIc, displayDcState);
    android::UnderDisplayLightParam::ChannelsDelta delta{};
    int golden = 0;
    store.calcRecitifyParamDeltaByBrRGB(info, br, &px, &delta, golden);

    icScopeWidth = in.takeInRange(-1, 64);
    icScopeHeight = in.takeInRange(-1, 128);
    const size_t count = icScopeWidth > 0 && icScopeHeight > 0 ? 3u * icScopeWidth * icScopeHeight : in.take<uint8_t>();
    const std::string rest = in.rest();
    android::Vector<int> pixels;
    pixels.resize(count);
    for (size_t i = 0; i < count; ++i)
        pixels.editItemAt(i) = rest.empty() ? 128 : static_cast<unsigned char>(rest[i % rest.size()]);
    store.calcRecitifyParamDeltaByBrRGBWeight(pixels, lightIc, displayIc, &delta);
    return 0;
}
