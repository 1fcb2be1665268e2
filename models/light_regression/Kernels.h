#pragma once

// Numeric kernels of the regression network on [rows][columns][channels]
// tensors, channel fastest. Plain single-precision arithmetic: each output
// starts from 0, adds its products, adds the bias, then ReLU.
namespace light_regression {

// Largest channel count the kernels handle.
constexpr int kMaxKernelChannels = 32;

// ReLU that also maps NaN to 0, so a non-finite input cannot leak out as NaN.
inline float relu(float v) { return v > 0.0f ? v : 0.0f; }

// 3x3 convolution without padding: output (r, c) reads input rows
// stride*r .. stride*r+2 and columns stride*c .. stride*c+2. Kernel
// [3][3][inCh][outCh], bias [outCh]; outCh at most kMaxKernelChannels.
// The network's 32-channel layers take a variant with the channel count fixed
// at compile time (about twice as fast); it sums in the same order as the
// generic loop, so both give identical bits.
void conv3x3Relu(const float* in, int inCols, int inCh, int stride, const float* kernel, const float* bias,
                 int outRows, int outCols, int outCh, float* out);
// The straightforward loop for any channel count.
void conv3x3ReluGeneric(const float* in, int inCols, int inCh, int stride, const float* kernel, const float* bias,
                        int outRows, int outCols, int outCh, float* out);

// 2x2 max pooling with stride 2; an odd last input row or column is dropped.
void maxPool2x2(const float* in, int inCols, int channels, int outRows, int outCols, float* out);

// Dense layer: kernel [inSize][outSize], bias [outSize]; outSize at most
// kMaxKernelChannels.
void denseRelu(const float* in, int inSize, const float* kernel, const float* bias, int outSize, float* out);

}  // namespace light_regression
