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
        for (int r : {0, 7, 29}) {
            std::vector<int> px(pixel_log::kSide * stride);
            for (size_t i = 0; i < px.size(); ++i)
                px[i] = r == 0 ? byte(rng) : r == 7 ? extremes[i % (sizeof extremes / sizeof *extremes)] : any(rng);
            char text[pixel_log::kRowChars];
            const int n = pixel_log::formatRow(text, r, px.data(), stride);
            const std::string want = printfRow(r, px, stride);
            EXPECT_EQ(std::string(text), want) << "row " << r << " stride " << stride;
            EXPECT_EQ(n, static_cast<int>(want.size()));
        }
    }
}

TEST(PixelLog, WidestRowFitsTheBuffer) {
    std::vector<int> px(pixel_log::kSide * 3, INT_MIN);
    char text[pixel_log::kRowChars + 16];
    EXPECT_LT(pixel_log::formatRow(text, 29, px.data(), 3), pixel_log::kRowChars);
}

}  // namespace
