#pragma once

// Vectorised kernels for convolutional networks whose hidden layers have 32
// channels: 3x3 convolutions without padding, 2x2 max pooling and dense
// layers with 32 outputs, on [rows][columns][channels] tensors. One source,
// written with the compiler's vector extensions, built for each instruction
// set: AVX-512 and AVX2 (chosen at run time) or SSE2 on x86-64, NEON on
// AArch64, plain scalar code elsewhere.
//
// Each output channel sums its products in the same order as the plain loop
// (kernel row, column, input channel). Where the processor has a fused
// multiply-add it is used, so a product is not rounded before it is added:
// results then differ from the plain loop by float rounding only. Without it
// (SSE2, scalar) they are bit-identical.
//
// Everything is inline and allocates nothing; the shapes are template
// arguments so that every loop bound is a compile-time constant.

namespace net32 {

constexpr int kOut = 32;

enum class Act {
    kNone,
    kRelu,           // negative becomes 0, NaN passes through
    kReluNanToZero,  // anything not above 0 becomes 0
};

// Instruction sets the kernels are built for on this target; kBest is the
// one the dispatch picks on this processor.
enum class Isa { kScalar, kSse2, kAvx2, kAvx512, kNeon, kBest };

}  // namespace net32

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define SC_NET32_X86 1
#include <immintrin.h>

#define SC_NET32_NS sse2
#define SC_NET32_BYTES 16
#define SC_NET32_TILE 1
#define SC_NET32_TILE_MAX 1
#define SC_NET32_MADD(a, b, c) ((a) * (b) + (c))
#include "models/simd/Net32Impl.inc"
#undef SC_NET32_NS
#undef SC_NET32_BYTES
#undef SC_NET32_TILE
#undef SC_NET32_TILE_MAX
#undef SC_NET32_MADD

#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2,fma"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2,fma")
#endif
#define SC_NET32_NS avx2
#define SC_NET32_BYTES 32
#define SC_NET32_TILE 3
#define SC_NET32_TILE_MAX 3
#define SC_NET32_MADD(a, b, c) _mm256_fmadd_ps((a), (b), (c))
#include "models/simd/Net32Impl.inc"
#undef SC_NET32_NS
#undef SC_NET32_BYTES
#undef SC_NET32_TILE
#undef SC_NET32_TILE_MAX
#undef SC_NET32_MADD
#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif

#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx512f,avx2,fma"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx512f,avx2,fma")
#endif
#define SC_NET32_NS avx512
#define SC_NET32_BYTES 64
#define SC_NET32_TILE 6
#define SC_NET32_TILE_MAX 8
#define SC_NET32_MADD(a, b, c) _mm512_fmadd_ps((a), (b), (c))
#include "models/simd/Net32Impl.inc"
#undef SC_NET32_NS
#undef SC_NET32_BYTES
#undef SC_NET32_TILE
#undef SC_NET32_TILE_MAX
#undef SC_NET32_MADD
#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif

#elif defined(__aarch64__) && defined(__ARM_NEON)
#define SC_NET32_NEON 1
#include <arm_neon.h>
#define SC_NET32_NS neon
#define SC_NET32_BYTES 16
#define SC_NET32_TILE 3
#define SC_NET32_TILE_MAX 3
#define SC_NET32_MADD(a, b, c) \
    (reinterpret_cast<V>(vfmaq_f32(reinterpret_cast<float32x4_t>(c), reinterpret_cast<float32x4_t>(a), \
                                   reinterpret_cast<float32x4_t>(b))))
#include "models/simd/Net32Impl.inc"
#undef SC_NET32_NS
#undef SC_NET32_BYTES
#undef SC_NET32_TILE
#undef SC_NET32_TILE_MAX
#undef SC_NET32_MADD

#else
#define SC_NET32_NS portable
#define SC_NET32_BYTES 16
#define SC_NET32_TILE 1
#define SC_NET32_TILE_MAX 1
#define SC_NET32_MADD(a, b, c) ((a) * (b) + (c))
#include "models/simd/Net32Impl.inc"
#undef SC_NET32_NS
#undef SC_NET32_BYTES
#undef SC_NET32_TILE
#undef SC_NET32_TILE_MAX
#undef SC_NET32_MADD
#endif

namespace net32 {

// The instruction set the dispatch uses on this processor (never kBest).
inline Isa bestIsa() {
#if defined(SC_NET32_X86)
    static const Isa best = __builtin_cpu_supports("avx512f") ? Isa::kAvx512
                            : (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) ? Isa::kAvx2
                                                                                                  : Isa::kSse2;
    return best;
#elif defined(SC_NET32_NEON)
    return Isa::kNeon;
#else
    return Isa::kScalar;
#endif
}

// Whether this build has kernels for `isa` and this processor can run them.
inline bool isaAvailable(Isa isa) {
    if (isa == Isa::kBest) return true;
#if defined(SC_NET32_X86)
    if (isa == Isa::kSse2) return true;
    if (isa == Isa::kAvx2) return bestIsa() == Isa::kAvx2 || bestIsa() == Isa::kAvx512;
    return isa == Isa::kAvx512 && bestIsa() == Isa::kAvx512;
#else
    return isa == bestIsa();
#endif
}

inline const char* isaName(Isa isa) {
    switch (isa == Isa::kBest ? bestIsa() : isa) {
        case Isa::kSse2: return "sse2";
        case Isa::kAvx2: return "avx2+fma";
        case Isa::kAvx512: return "avx512f";
        case Isa::kNeon: return "neon";
        default: return "scalar";
    }
}

#if defined(SC_NET32_X86)
#define SC_NET32_DISPATCH(isa, ...)                                   \
    switch ((isa) == Isa::kBest ? bestIsa() : (isa)) {                 \
        case Isa::kAvx512: avx512::__VA_ARGS__; break;                        \
        case Isa::kAvx2: avx2::__VA_ARGS__; break;                            \
        default: sse2::__VA_ARGS__; break;                                    \
    }
#elif defined(SC_NET32_NEON)
#define SC_NET32_DISPATCH(isa, ...) ((void)(isa), neon::__VA_ARGS__)
#else
#define SC_NET32_DISPATCH(isa, ...) ((void)(isa), portable::__VA_ARGS__)
#endif

// 3x3 convolution, stride `Stride`, from InCh to 32 channels, plus bias, then
// the activation. Computes output rows 0..rows-1 and, in each, columns
// 0..Cols-1 of an output tensor OutCols wide (Cols < OutCols skips columns a
// following pooling drops). Kernel [3][3][InCh][32], bias [32].
template <int InCols, int InCh, int Stride, int OutCols, int Cols, Act A, Isa I = Isa::kBest>
inline void conv3x3(const float* in, const float* kernel, const float* bias, float* out, int rows) {
    static_assert(Cols <= OutCols && (OutCols - 1) * Stride + 3 <= InCols, "shape");
    SC_NET32_DISPATCH(I, conv3x3<InCols, InCh, Stride, OutCols, Cols, A>(in, kernel, bias, out, rows));
}

// 2x2 max pooling with stride 2 over 32 channels; an odd last input row or
// column is dropped.
template <int InCols, int OutRows, int OutCols, Isa I = Isa::kBest>
inline void maxPool2x2(const float* in, float* out) {
    SC_NET32_DISPATCH(I, maxPool2x2<InCols, OutRows, OutCols>(in, out));
}

// conv3x3 with its activation, then maxPool2x2, interleaved two rows at a
// time; computes only the convolution cells the pooling reads (the others in
// `conv` are left as they were). Gives the bits of the two layers run apart.
template <int InCols, int InCh, int Stride, int ConvCols, int PoolRows, int PoolCols, Act A, Isa I = Isa::kBest>
inline void conv3x3Pool(const float* in, const float* kernel, const float* bias, float* conv, float* pooled) {
    static_assert(2 * PoolCols <= ConvCols && (ConvCols - 1) * Stride + 3 <= InCols, "shape");
    SC_NET32_DISPATCH(I, conv3x3Pool<InCols, InCh, Stride, ConvCols, PoolRows, PoolCols, A>(in, kernel, bias, conv,
                                                                                          pooled));
}

// Dense layer In -> 32 with matrix [In][32] and bias [32], then the activation.
template <int In, Act A, Isa I = Isa::kBest>
inline void dense32(const float* in, const float* matrix, const float* bias, float* out) {
    SC_NET32_DISPATCH(I, dense32<In, A>(in, matrix, bias, out));
}

// Colour components to 0..1 as float(component / 255.0) (FloatFirst: the
// component rounded to float before the division), n of them; with Fourth,
// each element i % 4 == 3 becomes `fourth` instead.
template <bool FloatFirst, bool Fourth = false, Isa I = Isa::kBest>
inline void scale255(const int* in, float* out, int n, float fourth = 0.0f) {
    SC_NET32_DISPATCH(I, scale255<FloatFirst, Fourth>(in, out, n, fourth));
}

#undef SC_NET32_DISPATCH

}  // namespace net32
