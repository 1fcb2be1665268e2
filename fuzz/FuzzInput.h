#pragma once

// Reading typed values off the front of a fuzz input. Once the bytes run out
// every read gives zero, so a short input is still a complete case.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace scfuzz {

class Input {
public:
    Input(const uint8_t* data, size_t size) : mData(data), mSize(size) {}

    size_t remaining() const { return mSize - mPos; }

    template <typename T>
    T take() {
        T v{};
        const size_t n = remaining() < sizeof(T) ? remaining() : sizeof(T);
        if (n > 0) std::memcpy(&v, mData + mPos, n);
        mPos += n;
        return v;
    }

    // A value in [lo, hi] (inclusive) from four bytes.
    int takeInRange(int lo, int hi) {
        const uint32_t span = static_cast<uint32_t>(static_cast<int64_t>(hi) - lo) + 1u;
        const uint32_t raw = take<uint32_t>();
        return static_cast<int>(static_cast<int64_t>(lo) + (span == 0 ? raw : raw % span));
    }

    // Up to `n` bytes as a string.
    std::string takeString(size_t n) {
        if (n > remaining()) n = remaining();
        std::string s(reinterpret_cast<const char*>(mData + mPos), n);
        mPos += n;
        return s;
    }

    std::string rest() { return takeString(remaining()); }

private:
    const uint8_t* mData;
    size_t mSize;
    size_t mPos = 0;
};

// Cuts the input at NUL bytes into at most `maxParts` pieces (the last piece
// keeps any further NULs). Fewer NULs give fewer pieces.
inline std::vector<std::string> splitAtNul(const uint8_t* data, size_t size, size_t maxParts) {
    std::vector<std::string> parts;
    if (size == 0) return {std::string()};
    const char* p = reinterpret_cast<const char*>(data);
    const char* end = p + size;
    while (parts.size() + 1 < maxParts) {
        const char* nul = static_cast<const char*>(std::memchr(p, 0, static_cast<size_t>(end - p)));
        if (nul == nullptr) break;
        parts.emplace_back(p, nul);
        p = nul + 1;
    }
    parts.emplace_back(p, end);
    return parts;
}

}  // namespace scfuzz
