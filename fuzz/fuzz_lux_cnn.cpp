// The LuxCNN on arbitrary input: optionally a unit calibration from arbitrary
// colour and location arrays first, then the per-frame correction factors and
// a prediction on arbitrary pixels, brightness code and mode.
//
// Input: a flags byte (bit 0: calibrate first; bit 1: pixels are raw 32-bit
// values rather than bytes), with bit 0 the colour [2][4] and location [3][16]
// floats, then the brightness code and mode (32 bits each); the rest fills
// the patch, repeated as needed.

#include <android/log.h>

#include <cstring>

#include "fuzz/FuzzInput.h"
#include "models/lux_cnn/LuxCNN.h"

namespace {

using Patch = int[LuxCNN::kPatch][LuxCNN::kPatch][4];

void fillPatch(scfuzz::Input& in, bool raw, Patch& patch) {
    int* cells = &patch[0][0][0];
    const size_t count = sizeof(Patch) / sizeof(int);
    const std::string rest = in.rest();
    if (rest.empty()) {
        std::memset(patch, 0, sizeof(Patch));
        return;
    }
    if (raw && rest.size() >= sizeof(int)) {
        const size_t values = rest.size() / sizeof(int);
        for (size_t i = 0; i < count; ++i) std::memcpy(&cells[i], rest.data() + (i % values) * sizeof(int), sizeof(int));
    } else {
        for (size_t i = 0; i < count; ++i) cells[i] = static_cast<unsigned char>(rest[i % rest.size()]);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static LuxCNN* net = [] {
        __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
        return new LuxCNN();
    }();
    static Patch* patch = new Patch[1];

    scfuzz::Input in(data, size);
    const uint8_t flags = in.take<uint8_t>();
    if (flags & 1) {
        float color[2][4], loc[3][16];
        for (auto& row : color)
            for (float& v : row) v = in.take<float>();
        for (auto& row : loc)
            for (float& v : row) v = in.take<float>();
        net->initCalibration(color, loc);
    }
    const int lcm = in.take<int32_t>();
    const int mode = in.take<int32_t>();
    fillPatch(in, (flags & 2) != 0, *patch);

    float colorK = 0.0f, locK = 0.0f;
    net->getCalibration(lcm, *patch, mode, colorK, locK);
    net->model_predict(*patch, lcm, mode);
    return 0;
}
