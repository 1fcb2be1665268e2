#pragma once

#include <cstring>
#include <memory>
#include <vector>

#include "models/light_regression/LightRegression.h"

namespace lrtest {

using Image = int[light_regression::kImageRows][light_regression::kImageCols][light_regression::kColours];

struct ImageDelete {
    void operator()(Image* p) const { delete[] &(*p)[0]; }
};
using ImagePtr = std::unique_ptr<Image, ImageDelete>;

// A heap image (about 50 KB), every component set to `v`.
inline ImagePtr makeImage(int v = 0) {
    ImagePtr img(reinterpret_cast<Image*>(new Image));
    for (auto& row : *img)
        for (auto& px : row)
            for (int& c : px) c = v;
    return img;
}

// Puts the process-wide unit table back to the other modes' reference, its
// value at start-up.
inline void restoreUnitTable(LightRegression& model) {
    light_regression::CaliTable t;
    std::memcpy(t, light_regression::referenceTable(0), sizeof(t));
    model.initCalibration(t);
}

}  // namespace lrtest
