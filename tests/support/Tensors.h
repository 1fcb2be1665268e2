#pragma once

// Layer and kernel tests: NaN sentinels, and the tolerance of float code
// against a float64 reference.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>

namespace sctest {

// Every float of `buffer` set to NaN, so that a cell the code forgets to
// write shows up.
template <typename T>
void fillNaN(T& buffer) {
    std::fill_n(reinterpret_cast<float*>(&buffer), sizeof buffer / sizeof(float),
                std::numeric_limits<float>::quiet_NaN());
}

// got[i] within max(1e-5, 1e-6 * |want[i]|) of want[i] for the n elements
// (NaN never is); reports the first few misses.
template <typename Want>
void expectNear(const float* got, const Want& want, size_t n, const std::string& what) {
    ASSERT_EQ(want.size(), n) << what;
    size_t bad = 0;
    for (size_t i = 0; i < n; ++i) {
        const double tol = std::max(1e-5, 1e-6 * std::fabs(double(want[i])));
        if (!(std::fabs(double(got[i]) - double(want[i])) <= tol) && bad++ < 5)
            ADD_FAILURE() << what << "[" << i << "] = " << got[i] << ", expected " << want[i];
    }
    EXPECT_EQ(bad, 0u) << what;
}

}  // namespace sctest
