#include "models/light_regression/Kernels.h"

namespace light_regression {

namespace {

// The same loop with the output channel count fixed at compile time, so the
// accumulators stay in vector registers; the summation order is unchanged.
template <int OutCh>
void conv3x3ReluFixed(const float* in, int inCols, int inCh, int stride, const float* kernel, const float* bias,
                      int outRows, int outCols, float* out) {
    for (int r = 0; r < outRows; ++r) {
        for (int c = 0; c < outCols; ++c) {
            float acc[OutCh] = {};
            for (int ky = 0; ky < 3; ++ky) {
                for (int kx = 0; kx < 3; ++kx) {
                    const float* px = in + ((stride * r + ky) * inCols + (stride * c + kx)) * inCh;
                    const float* k = kernel + (ky * 3 + kx) * inCh * OutCh;
                    for (int i = 0; i < inCh; ++i) {
                        const float x = px[i];
                        const float* kr = k + i * OutCh;
                        for (int o = 0; o < OutCh; ++o) acc[o] += x * kr[o];
                    }
                }
            }
            float* dst = out + (r * outCols + c) * OutCh;
            for (int o = 0; o < OutCh; ++o) dst[o] = relu(acc[o] + bias[o]);
        }
    }
}

}  // namespace

void conv3x3Relu(const float* in, int inCols, int inCh, int stride, const float* kernel, const float* bias,
                 int outRows, int outCols, int outCh, float* out) {
    if (outCh == kMaxKernelChannels) {
        conv3x3ReluFixed<kMaxKernelChannels>(in, inCols, inCh, stride, kernel, bias, outRows, outCols, out);
    } else {
        conv3x3ReluGeneric(in, inCols, inCh, stride, kernel, bias, outRows, outCols, outCh, out);
    }
}

void conv3x3ReluGeneric(const float* in, int inCols, int inCh, int stride, const float* kernel, const float* bias,
                        int outRows, int outCols, int outCh, float* out) {
    for (int r = 0; r < outRows; ++r) {
        for (int c = 0; c < outCols; ++c) {
            // Accumulate all output channels at once so the inner loop runs over
            // contiguous kernel rows.
            float acc[kMaxKernelChannels] = {};
            for (int ky = 0; ky < 3; ++ky) {
                for (int kx = 0; kx < 3; ++kx) {
                    const float* px = in + ((stride * r + ky) * inCols + (stride * c + kx)) * inCh;
                    const float* k = kernel + (ky * 3 + kx) * inCh * outCh;
                    for (int i = 0; i < inCh; ++i) {
                        const float x = px[i];
                        const float* kr = k + i * outCh;
                        for (int o = 0; o < outCh; ++o) acc[o] += x * kr[o];
                    }
                }
            }
            float* dst = out + (r * outCols + c) * outCh;
            for (int o = 0; o < outCh; ++o) dst[o] = relu(acc[o] + bias[o]);
        }
    }
}

void maxPool2x2(const float* in, int inCols, int channels, int outRows, int outCols, float* out) {
    for (int r = 0; r < outRows; ++r) {
        for (int c = 0; c < outCols; ++c) {
            const float* a = in + ((2 * r) * inCols + 2 * c) * channels;
            const float* b = a + channels;
            const float* d = a + inCols * channels;
            const float* e = d + channels;
            float* dst = out + (r * outCols + c) * channels;
            for (int ch = 0; ch < channels; ++ch) {
                float m = a[ch];
                if (b[ch] > m) m = b[ch];
                if (d[ch] > m) m = d[ch];
                if (e[ch] > m) m = e[ch];
                dst[ch] = m;
            }
        }
    }
}

void denseRelu(const float* in, int inSize, const float* kernel, const float* bias, int outSize, float* out) {
    float acc[kMaxKernelChannels] = {};
    for (int i = 0; i < inSize; ++i) {
        const float x = in[i];
        const float* kr = kernel + i * outSize;
        for (int o = 0; o < outSize; ++o) acc[o] += x * kr[o];
    }
    for (int o = 0; o < outSize; ++o) out[o] = relu(acc[o] + bias[o]);
}

}  // namespace light_regression
