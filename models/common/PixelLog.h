#pragma once

// Formats one row of the per-frame pixel log, "[r][c] = red,green,blue; " for
// the first 30 pixels of a row, into a caller's buffer without the C library's
// formatted output (the models write 30 such rows for every non-black frame).
namespace pixel_log {

constexpr int kSide = 30;             // rows and pixels per row in the log
constexpr int kEntryMax = 48;         // "[29][29] = " plus three ints of 11
constexpr int kRowChars = kSide * kEntryMax + 1;

inline char* appendInt(char* p, int v) {
    // Negated without a wrap-around (INT_MIN included): integer sanitizers
    // flag unsigned wrap-around even where it is defined.
    const unsigned bits = static_cast<unsigned>(v);
    unsigned u = v < 0 ? ~bits + 1u : bits;
    if (v < 0) *p++ = '-';
    // Colour components and indices have at most three digits.
    if (u < 10) {
        *p++ = static_cast<char>('0' + u);
        return p;
    }
    if (u < 100) {
        p[0] = static_cast<char>('0' + u / 10);
        p[1] = static_cast<char>('0' + u % 10);
        return p + 2;
    }
    if (u < 1000) {
        p[0] = static_cast<char>('0' + u / 100);
        p[1] = static_cast<char>('0' + u / 10 % 10);
        p[2] = static_cast<char>('0' + u % 10);
        return p + 3;
    }
    char digits[10];
    int n = 0;
    do {
        digits[n++] = static_cast<char>('0' + u % 10);
        u /= 10;
    } while (u != 0);
    while (n > 0) *p++ = digits[--n];
    return p;
}

// Row `r` of an image whose pixels are `stride` ints apart, colour first;
// `text` holds kRowChars. Returns the text's length.
inline int formatRow(char* text, int r, const int* row, int stride) {
    char* p = text;
    for (int c = 0; c < kSide; ++c) {
        const int* px = row + c * stride;
        *p++ = '[';
        p = appendInt(p, r);
        *p++ = ']';
        *p++ = '[';
        p = appendInt(p, c);
        *p++ = ']';
        *p++ = ' ';
        *p++ = '=';
        *p++ = ' ';
        p = appendInt(p, px[0]);
        *p++ = ',';
        p = appendInt(p, px[1]);
        *p++ = ',';
        p = appendInt(p, px[2]);
        *p++ = ';';
        *p++ = ' ';
    }
    *p = '\0';
    return static_cast<int>(p - text);
}

}  // namespace pixel_log
