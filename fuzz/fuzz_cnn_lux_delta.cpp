// RootFusion::calcCNNLuxDelta on arbitrary captures: dimensions that do and
// do not match the pixel count, any pixel values, eye parameters, host
// channel readings, brightness code and screen-hop mode.
//
// Input: a flags byte (bit 0: raw 32-bit dimensions, else 0..299 each less 2;
// bit 1: the pixel count is 3 x width x height when that is at most 3M,
// else a 16-bit count from the input), dimensions, brightness code, hop
// mode, three eye parameters (doubles), blk and nblk (5 floats each), then
// the pixel values, repeated as needed.

#include <android/log.h>
#include <utils/Vector.h>

#include <cstring>
#include <string>

#include "fusion/RootFusion.h"
#include "fusion/SharedState.h"
#include "fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static android::RootFusion* root = [] {
        __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
        android::RootFusion* r = android::RootFusion::getInstance();
        // The model runs only for the first panel.
        android::ProjectFeature::getInstance()->displayId = 1;
        return r;
    }();

    scfuzz::Input in(data, size);
    const uint8_t flags = in.take<uint8_t>();
    int width, height;
    if (flags & 1) {
        width = in.take<int32_t>();
        height = in.take<int32_t>();
    } else {
        width = in.takeInRange(-2, 297);
        height = in.takeInRange(-2, 297);
    }
    const int br = in.take<int32_t>();
    screenHopMode = in.take<int32_t>();
    const double r = in.take<double>(), g = in.take<double>(), b = in.take<double>();
    root->setEyeParam(r, g, b);
    for (float& v : channelsBlk) v = in.take<float>();
    for (float& v : channelsNblk) v = in.take<float>();
    mLogSwitch = (flags & 4) ? 1 : 0;

    const long long cells = static_cast<long long>(width) * height;
    size_t count;
    if ((flags & 2) && cells >= 0 && cells <= 1000000) {
        count = static_cast<size_t>(3 * cells);
    } else {
        count = in.take<uint16_t>();
    }
    const std::string rest = in.rest();
    android::Vector<int> pixels;
    pixels.resize(count);
    int* px = pixels.editArray();
    for (size_t i = 0; i < count; ++i) {
        if (rest.size() >= sizeof(int) && (flags & 8)) {
            std::memcpy(&px[i], rest.data() + (i % (rest.size() / sizeof(int))) * sizeof(int), sizeof(int));
        } else {
            px[i] = rest.empty() ? 0 : static_cast<unsigned char>(rest[i % rest.size()]);
        }
    }
    float delta[5] = {0, 0, 0, 0, 0};
    root->calcCNNLuxDelta(pixels, br, width, height, delta);
    return 0;
}
