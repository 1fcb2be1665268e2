// The screen-light regression model on arbitrary input: optionally a unit
// table of arbitrary floats first, then a prediction on an arbitrary image,
// sensor vectors, brightness code and mode.
//
// Input: a flags byte (bit 0: install a table; bit 1: image values are raw
// 32-bit values rather than bytes), with bit 0 the table's 30 floats, then
// the nblk and blk vectors (5 floats each), brightness code and mode (32 bits
// each); the rest fills the image, repeated as needed.

#include <android/log.h>

#include <cstring>
#include <string>

#include "fuzz/FuzzInput.h"
#include "models/light_regression/LightRegression.h"

namespace lr = light_regression;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static LightRegression* model = [] {
        __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
        return new LightRegression();
    }();
    static LightRegression::Image* image = new LightRegression::Image[lr::kImageRows];

    scfuzz::Input in(data, size);
    const uint8_t flags = in.take<uint8_t>();
    if (flags & 1) {
        float table[3][2][lr::kChannels];
        for (auto& colour : table)
            for (auto& group : colour)
                for (float& v : group) v = in.take<float>();
        model->initCalibration(table);
    }
    float nblk[lr::kChannels], blk[lr::kChannels];
    for (float& v : nblk) v = in.take<float>();
    for (float& v : blk) v = in.take<float>();
    const int lcm = in.take<int32_t>();
    const int mode = in.take<int32_t>();

    int* cells = &image[0][0][0];
    const size_t count = static_cast<size_t>(lr::kImageRows) * lr::kImageCols * lr::kColours;
    const std::string rest = in.rest();
    const bool raw = (flags & 2) != 0 && rest.size() >= sizeof(int);
    for (size_t i = 0; i < count; ++i) {
        if (rest.empty()) {
            cells[i] = 0;
        } else if (raw) {
            std::memcpy(&cells[i], rest.data() + (i % (rest.size() / sizeof(int))) * sizeof(int), sizeof(int));
        } else {
            cells[i] = static_cast<unsigned char>(rest[i % rest.size()]);
        }
    }
    model->model_predict(image, nblk, blk, lcm, mode);
    return 0;
}
