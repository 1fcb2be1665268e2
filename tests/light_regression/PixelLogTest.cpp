// The pixel log row must read exactly as the C library would print it, for
// any int a caller passes (negative, INT_MIN, ten digits).
#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "models/common/PixelLog.h"

namespace {

std::string printfRow(int r, const std::vector<int>& px, int stride) {
    std::string s;
    char entry[64];
    for (int c = 0; c < pixel_log::kSide; ++c) {
        std::snprintf(entry, sizeof entry, "[%d][%d] = %d,%d,%d; ", r, c, px[c * stride], px[c * stride + 1],
                      px[c * stride + 2]);
        s += entry;
    }
    return s;
}

TEST(PixelLog, RowsReadAsPrintfWouldPrintThem) {
    std::mt19937 rng(9);
    std::uniform_int_distribution<int> any(INT_MIN, INT_MAX), byte(0, 255);
    const int extremes[] = {0, -1, 9, 10, 255, 256, -255, 99999, INT_MAX, INT_MIN, INT_MIN + 1, 1000000000};
    for (int stride : {3, 4}) {
        for (int r : {0, 7, 28, 29}) {  // row 29: the widest row must fit the buffer
            std::vector<int> px(pixel_log::kSide * stride);
            for (size_t i = 0; i < px.size(); ++i)
                px[i] = r == 0   ? byte(rng)
                        : r == 7 ? extremes[i % (sizeof extremes / sizeof *extremes)]
                        : r == 28 ? any(rng)
                                  : INT_MIN;
            char text[pixel_log::kRowChars + 16];  // room to see an overflow
            const int n = pixel_log::formatRow(text, r, px.data(), stride);
            const std::string want = printfRow(r, px, stride);
            EXPECT_EQ(std::string(text), want) << "row " << r << " stride " << stride;
            EXPECT_EQ(n, static_cast<int>(want.size()));
            EXPECT_LT(n, pixel_log::kRowChars);
        }
    }
}

}  // namespace
