#pragma once

// Deterministic test data shared with tools/reference/lux_cnn_ref.py, which
// implements the same generator: only results are checked in.
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace luxtest {

class XorShift {
public:
    explicit XorShift(uint32_t seed) : mState(seed) {}
    uint32_t next() {
        mState ^= mState << 13;
        mState ^= mState >> 17;
        mState ^= mState << 5;
        return mState;
    }
    // In [-1, 1), exact in float.
    float uniform() { return static_cast<float>(static_cast<double>(next() >> 8) * 0x1p-23 - 1.0); }

private:
    uint32_t mState;
};

using Patch = int[101][101][4];

// "black", "red2" (two red pixels of 1), "noise" (uniform 0..255) or "dim"
// (noise / 16), as the reference builds them.
inline std::unique_ptr<Patch[]> pattern(const std::string& kind, uint32_t seed) {
    std::unique_ptr<Patch[]> p(new Patch[1]);
    std::memset(p.get(), 0, sizeof(Patch));
    Patch& px = p[0];
    if (kind == "red2") {
        px[70][80][0] = 1;
        px[100][100][0] = 1;
    } else if (kind == "noise" || kind == "dim") {
        XorShift g(seed);
        for (auto& row : px)
            for (auto& pixel : row)
                for (int& v : pixel) v = static_cast<int>(g.next() % 256) / (kind == "dim" ? 16 : 1);
    }
    return p;
}

// Input and one weight set of the layer test (seed 7): kernels and matrices
// scaled by powers of two so that they stay exact.
struct TestNet {
    std::vector<float> input, table[10];
};

inline TestNet testNet(uint32_t seed) {
    static const size_t kSizes[10] = {1152, 32, 9216, 32, 9216, 32, 16384, 32, 128, 4};
    static const float kScales[10] = {0.25f, 0.125f, 0.125f, 0.125f, 0.125f, 0.125f, 0.0625f, 0.125f, 0.25f, 0.125f};
    XorShift g(seed);
    TestNet t;
    t.input.resize(101 * 101 * 4);
    for (float& v : t.input) v = (g.uniform() + 1.0f) * 0.5f;
    for (int k = 0; k < 10; ++k) {
        t.table[k].resize(kSizes[k]);
        for (float& v : t.table[k]) v = g.uniform() * kScales[k];
    }
    return t;
}

}  // namespace luxtest
