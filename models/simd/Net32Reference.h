#pragma once

// The straightforward loops of the 32-channel layers, in the order the
// network defines them: each sum from 0 over kernel row, column and input
// channel, then the bias, then the activation. Not built into the library:
// the tests check the vectorised kernels against them and the benchmarks
// measure them as the baseline.
#include "models/simd/Net32.h"

namespace net32 {
namespace reference {

inline float activate(float v, Act a) {
    if (a == Act::kReluNanToZero) return v > 0.0f ? v : 0.0f;
    if (a == Act::kRelu) return v < 0.0f ? 0.0f : v;
    return v;
}

// 3x3 convolution without padding, inCh -> 32 channels.
inline void conv3x3(const float* in, int inCols, int inCh, int stride, const float* k, const float* b, int outRows,
                    int outCols, Act a, float* out) {
    for (int r = 0; r < outRows; ++r)
        for (int c = 0; c < outCols; ++c)
            for (int o = 0; o < kOut; ++o) {
                float s = 0.0f;
                for (int ky = 0; ky < 3; ++ky)
                    for (int kx = 0; kx < 3; ++kx)
                        for (int i = 0; i < inCh; ++i)
                            s += in[((stride * r + ky) * inCols + stride * c + kx) * inCh + i] *
                                 k[((ky * 3 + kx) * inCh + i) * kOut + o];
                out[(r * outCols + c) * kOut + o] = activate(s + b[o], a);
            }
}

// 2x2 max pooling, stride 2, 32 channels.
inline void maxPool2x2(const float* in, int inCols, int outRows, int outCols, float* out) {
    for (int y = 0; y < outRows; ++y)
        for (int x = 0; x < outCols; ++x)
            for (int c = 0; c < kOut; ++c) {
                const float* p = in + ((2 * y) * inCols + 2 * x) * kOut + c;
                float m = p[0];
                if (p[kOut] > m) m = p[kOut];
                if (p[inCols * kOut] > m) m = p[inCols * kOut];
                if (p[inCols * kOut + kOut] > m) m = p[inCols * kOut + kOut];
                out[(y * outCols + x) * kOut + c] = m;
            }
}

// Dense layer n -> outSize, matrix [n][outSize].
inline void dense(const float* in, int n, const float* w, const float* b, int outSize, Act a, float* out) {
    for (int o = 0; o < outSize; ++o) {
        float s = 0.0f;
        for (int i = 0; i < n; ++i) s += in[i] * w[i * outSize + o];
        out[o] = activate(s + b[o], a);
    }
}

}  // namespace reference
}  // namespace net32
