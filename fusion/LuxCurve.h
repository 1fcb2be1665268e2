#pragma once

// The project's lux gain curves and channel formula. Each step's precision is
// part of the result: band tests and the final product in float, ramps in
// double, the factor rounded to float before it multiplies.

namespace android {
namespace luxcurve {

struct GainCurve {
    double ramp1;   // slope of the 1000..2000 band (per 1000)
    double base2;   // factor at 2000
    double ramp2;   // slope of the 2000..4000 band (per 2000)
    float top;      // factor above 4000
};

// Default curve; also used for panels 2 and 3.
constexpr GainCurve kG1 = {0.3524, 1.3524, 0.0326, 1.385f};
// Panels 4 and 5.
constexpr GainCurve kG2 = {0.2814, 1.2814, 0.0531, 1.3345f};

inline float gainFactor(float x, const GainCurve& curve) {
    if (x <= 1000.0f) return 1.0f;
    if (x <= 2000.0f) return static_cast<float>(1.0 + static_cast<double>(x - 1000.0f) * curve.ramp1 / 1000.0);
    if (x <= 4000.0f) return static_cast<float>(curve.base2 + static_cast<double>(x - 2000.0f) * curve.ramp2 / 2000.0);
    return curve.top;
}

inline float applyG1(float x) { return x * gainFactor(x, kG1); }
inline float applyG2(float x) { return x * gainFactor(x, kG2); }

// Linear lux from the calibrated r, g and b channels, summed in double in this
// order and rounded once to float.
inline float channelFormula(float r, float g, float b) {
    return static_cast<float>(0.0077 * r + 0.09 * g - 0.0774 * b + 0.0914);
}

}  // namespace luxcurve
}  // namespace android
