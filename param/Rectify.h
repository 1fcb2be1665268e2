#pragma once

// Rectification polynomial: the light that the panel adds to each sensor
// output, as a polynomial in the pixel colour (r, g, b) and the brightness
// code, with one coefficient column per brightness section.
//
// Two evaluations that give the same bits: `sumsByTerm` calls pow for every
// factor of every term (224 calls), `sumsByPowers` takes the same pow values
// from a table of each base's powers computed once (20 calls). The store uses
// the second; the first is the reference that tests and benchmarks hold it to.

#include <climits>
#include <cmath>
#include <cstddef>
#include <vector>

#include "param/UnderDisplayLightParam.h"

namespace android {
namespace sensorconfig {
namespace rectify {

using Info = UnderDisplayLightParam::UnderLightParamInfo;

constexpr int kTerms = UnderDisplayLightParam::kTermCount;
constexpr int kSections = UnderDisplayLightParam::kSectionCount;
constexpr int kBounds = UnderDisplayLightParam::kBoundCount;
constexpr int kMaxExponent = 4;

// Exponents of r, g, b and brightness for each term, in the order of the
// coefficient rows of the mode files. The brightness-only terms appear three
// times on purpose: each copy has its own coefficient row.
inline constexpr double sRecitifyExponent[kTerms][4] = {
        // r^a br^k
        {0, 0, 0, 0}, {1, 0, 0, 0}, {2, 0, 0, 0}, {3, 0, 0, 0}, {4, 0, 0, 0},
        {0, 0, 0, 1}, {1, 0, 0, 1}, {2, 0, 0, 1}, {3, 0, 0, 1},
        {0, 0, 0, 2}, {1, 0, 0, 2}, {2, 0, 0, 2},
        {0, 0, 0, 3}, {1, 0, 0, 3},
        {0, 0, 0, 4},
        // g^a br^k
        {0, 1, 0, 0}, {0, 2, 0, 0}, {0, 3, 0, 0}, {0, 4, 0, 0},
        {0, 0, 0, 1}, {0, 1, 0, 1}, {0, 2, 0, 1}, {0, 3, 0, 1},
        {0, 0, 0, 2}, {0, 1, 0, 2}, {0, 2, 0, 2},
        {0, 0, 0, 3}, {0, 1, 0, 3},
        {0, 0, 0, 4},
        // b^a br^k
        {0, 0, 1, 0}, {0, 0, 2, 0}, {0, 0, 3, 0}, {0, 0, 4, 0},
        {0, 0, 0, 1}, {0, 0, 1, 1}, {0, 0, 2, 1}, {0, 0, 3, 1},
        {0, 0, 0, 2}, {0, 0, 1, 2}, {0, 0, 2, 2},
        {0, 0, 0, 3}, {0, 0, 1, 3},
        {0, 0, 0, 4},
        // cross terms
        {1, 1, 0, 1}, {0, 1, 1, 1}, {1, 0, 1, 1}, {2, 1, 0, 1}, {1, 2, 0, 1}, {1, 1, 0, 2},
        {0, 1, 2, 1}, {0, 2, 1, 1}, {0, 1, 1, 2}, {2, 0, 1, 1}, {1, 0, 2, 1}, {1, 0, 1, 2},
        {1, 1, 1, 1},
};

// First section whose upper bound reaches `br`; 6 when none does.
inline int sectionOf(const Info& info, int br) {
    for (int i = 0; i < kBounds; ++i)
        if (info.paramSection[i] >= br) return i;
    return kBounds;
}

// Negative sums, negative zero and NaN all become +0.0.
inline double clampBelowZero(double v) { return v > 0.0 ? v : 0.0; }

// The straightforward evaluation: sums[0..3] over the red, green, blue and ir
// tables. Not clamped.
inline void sumsByTerm(const Info& info, int section, double r, double g, double b, double br, double sums[4]) {
    sums[0] = sums[1] = sums[2] = sums[3] = 0.0;
    for (int t = 0; t < kTerms; ++t) {
        const double* e = sRecitifyExponent[t];
        double term = std::pow(r, e[0]) * std::pow(g, e[1]) * std::pow(b, e[2]) * std::pow(br, e[3]);
        sums[0] += term * info.red[t][section];
        sums[1] += term * info.green[t][section];
        sums[2] += term * info.blue[t][section];
        sums[3] += term * info.ir[t][section];
    }
}

// x^0 .. x^4 with the values that sumsByTerm's pow calls return: pow(x, 0)
// is exactly 1 and pow(x, 1) exactly x for every x, the others come from pow.
struct Powers {
    double p[kMaxExponent + 1];
};

inline void powersOf(double x, Powers* out) {
    out->p[0] = 1.0;
    out->p[1] = x;
    for (int k = 2; k <= kMaxExponent; ++k) {
        double e = k;
        // Hide the exponent's value from the optimiser: with a known 2.0 it may
        // rewrite pow(x, e) as x * x, which need not match pow in the last bit.
        __asm__ volatile("" : "+m"(e));
        out->p[k] = std::pow(x, e);
    }
}

// Exponents as table indices, derived from sRecitifyExponent.
struct ExponentIndex {
    unsigned char e[kTerms][4];
    constexpr ExponentIndex() : e{} {
        for (int t = 0; t < kTerms; ++t)
            for (int f = 0; f < 4; ++f) e[t][f] = static_cast<unsigned char>(sRecitifyExponent[t][f]);
    }
};
inline constexpr ExponentIndex sExponentIndex{};

// The same sums from precomputed powers: same factors, same order of
// multiplication and addition, hence the same bits as sumsByTerm.
inline void sumsByPowers(const Info& info, int section, const Powers& r, const Powers& g, const Powers& b,
                         const Powers& br, double sums[4]) {
    double s0 = 0.0, s1 = 0.0, s2 = 0.0, s3 = 0.0;
    for (int t = 0; t < kTerms; ++t) {
        const unsigned char* e = sExponentIndex.e[t];
        double term = r.p[e[0]] * g.p[e[1]] * b.p[e[2]] * br.p[e[3]];
        s0 += term * info.red[t][section];
        s1 += term * info.green[t][section];
        s2 += term * info.blue[t][section];
        s3 += term * info.ir[t][section];
    }
    sums[0] = s0;
    sums[1] = s1;
    sums[2] = s2;
    sums[3] = s3;
}

// Pixel channel scaled by the eye ratio, rounded half away from zero. Values
// beyond the int range saturate and NaN reads as 0, where a plain conversion
// would be undefined.
inline int scaledChannel(int value, double ratio) {
    double v = std::round(static_cast<double>(value) * ratio);
    if (!(v == v)) return 0;
    if (v >= static_cast<double>(INT_MAX)) return INT_MAX;
    if (v <= static_cast<double>(INT_MIN)) return INT_MIN;
    return static_cast<int>(v);
}

struct Evaluation {
    const Info* info;  // may be null: every cell then adds zero
    int brightness;
};

// The weighted sum over a weight grid laid across a W x H capture (three ints
// per pixel, row-major). The golden value carries over from the last cell
// that evaluated, starting at 1. Cells missing from a row shorter than row 0
// weigh nothing. `evaluate(info, br, r, g, b, sums)` returns false when it
// evaluated nothing (black pixel), like the one-shot form's early return.
template <typename Evaluate>
inline void weightedSums(const Info* info, int br, const std::vector<std::vector<float>>& grid, const int* pixels,
                         int width, int height, const double ratio[3], Evaluate&& evaluate, double out[4]) {
    const int rows = static_cast<int>(grid.size());
    const int columns = static_cast<int>(grid[0].size());
    int golden = 1;
    double s[4] = {0.0, 0.0, 0.0, 0.0};
    for (int i = 0; i < rows; ++i) {
        const std::vector<float>& row = grid[i];
        const int present = static_cast<int>(row.size()) < columns ? static_cast<int>(row.size()) : columns;
        for (int j = 0; j < present; ++j) {
            const float w = row[j];
            if (!(w > 0.0f)) continue;
            const int y = static_cast<int>((static_cast<long long>(height) * i) / rows);
            const int x = static_cast<int>((static_cast<long long>(j) * width) / columns);
            const std::ptrdiff_t p = 3 * (static_cast<std::ptrdiff_t>(y) * width + x);
            const int r = scaledChannel(pixels[p], ratio[0]);
            const int g = scaledChannel(pixels[p + 1], ratio[1]);
            const int b = scaledChannel(pixels[p + 2], ratio[2]);
            double cell[4] = {0.0, 0.0, 0.0, 0.0};
            if (info != nullptr && !(r == 0 && g == 0 && b == 0)) {
                golden = info->goldenValue[sectionOf(*info, br)];
                evaluate(*info, br, r, g, b, cell);
            }
            const double gd = golden;
            const double wd = w;
            for (int c = 0; c < 4; ++c) s[c] += cell[c] / gd * wd;
        }
    }
    for (int c = 0; c < 4; ++c) out[c] = s[c];
}

// Cell evaluations for weightedSums: clamped sums of one pixel.
struct ByTerm {
    void operator()(const Info& info, int br, int r, int g, int b, double out[4]) const {
        double sums[4];
        sumsByTerm(info, sectionOf(info, br), r, g, b, br, sums);
        for (int c = 0; c < 4; ++c) out[c] = clampBelowZero(sums[c]);
    }
};

// Brightness powers are shared by every cell of one call.
struct ByPowers {
    explicit ByPowers(int br) { powersOf(br, &brPowers); }
    void operator()(const Info& info, int br, int r, int g, int b, double out[4]) const {
        Powers pr, pg, pb;
        powersOf(r, &pr);
        powersOf(g, &pg);
        powersOf(b, &pb);
        double sums[4];
        sumsByPowers(info, sectionOf(info, br), pr, pg, pb, brPowers, sums);
        for (int c = 0; c < 4; ++c) out[c] = clampBelowZero(sums[c]);
    }
    Powers brPowers;
};

}  // namespace rectify
}  // namespace sensorconfig
}  // namespace android
