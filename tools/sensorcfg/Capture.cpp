#include "tools/sensorcfg/Capture.h"

#include <png.h>

#include <cctype>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>

namespace sensorcfg {

namespace {

constexpr long kMaxSide = 16384;  // far above any capture region over the sensor

bool loadPng(const std::string& path, Capture* out, std::string* error) {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) {
        *error = path + ": cannot open";
        return false;
    }
    std::unique_ptr<FILE, int (*)(FILE*)> closer(f, std::fclose);
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (info == nullptr) {
        png_destroy_read_struct(&png, nullptr, nullptr);
        *error = path + ": out of memory";
        return false;
    }
    std::vector<png_bytep> rows;
    std::vector<png_byte> pixels;
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_read_struct(&png, &info, nullptr);
        *error = path + ": not a readable PNG (truncated or corrupt)";
        return false;
    }
    png_init_io(png, f);
    png_read_info(png, info);
    const png_uint_32 width = png_get_image_width(png, info), height = png_get_image_height(png, info);
    if (width == 0 || height == 0 || width > kMaxSide || height > kMaxSide) {
        png_destroy_read_struct(&png, &info, nullptr);
        *error = path + ": unsupported PNG size " + std::to_string(width) + "x" + std::to_string(height);
        return false;
    }
    const int colorType = png_get_color_type(png, info);
    if (png_get_bit_depth(png, info) == 16) png_set_strip_16(png);
    if (colorType == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(png);
    if (colorType == PNG_COLOR_TYPE_GRAY || colorType == PNG_COLOR_TYPE_GRAY_ALPHA) {
        png_set_expand_gray_1_2_4_to_8(png);
        png_set_gray_to_rgb(png);
    }
    if (colorType & PNG_COLOR_MASK_ALPHA) png_set_strip_alpha(png);
    if (png_get_valid(png, info, PNG_INFO_tRNS)) png_set_strip_alpha(png);
    png_read_update_info(png, info);
    const size_t rowBytes = png_get_rowbytes(png, info);
    if (rowBytes != size_t(width) * 3) {
        png_destroy_read_struct(&png, &info, nullptr);
        *error = path + ": unsupported PNG pixel layout";
        return false;
    }
    pixels.resize(rowBytes * height);
    rows.resize(height);
    for (png_uint_32 y = 0; y < height; ++y) rows[y] = pixels.data() + y * rowBytes;
    png_read_image(png, rows.data());
    png_read_end(png, nullptr);
    png_destroy_read_struct(&png, &info, nullptr);
    out->width = int(width);
    out->height = int(height);
    out->rgb.assign(pixels.begin(), pixels.end());
    return true;
}

bool loadDump(const std::string& path, Capture* out, std::string* error) {
    std::ifstream in(path);
    if (!in) {
        *error = path + ": cannot open";
        return false;
    }
    std::vector<long> numbers;
    std::string line;
    int lineNo = 0;
    long width = -1, height = -1;
    while (std::getline(in, line)) {
        ++lineNo;
        size_t hash = line.find('#');
        if (hash != std::string::npos) line.resize(hash);
        std::istringstream ss(line);
        std::string token;
        while (ss >> token) {
            char* end = nullptr;
            long v = std::strtol(token.c_str(), &end, 10);
            if (*end != '\0') {
                *error = path + ":" + std::to_string(lineNo) + ": not an integer: \"" + token + "\"";
                return false;
            }
            if (width < 0) {
                width = v;
            } else if (height < 0) {
                height = v;
                if (width <= 0 || height <= 0 || width > kMaxSide || height > kMaxSide) {
                    *error = path + ":" + std::to_string(lineNo) + ": bad size " + std::to_string(width) + " x " +
                             std::to_string(height);
                    return false;
                }
                numbers.reserve(size_t(width * height * 3));
            } else {
                if (v < 0 || v > 255) {
                    *error = path + ":" + std::to_string(lineNo) + ": pixel value " + token + " outside 0..255";
                    return false;
                }
                if (numbers.size() == size_t(width * height * 3)) {
                    *error = path + ":" + std::to_string(lineNo) + ": more than " +
                             std::to_string(width * height * 3) + " pixel values";
                    return false;
                }
                numbers.push_back(v);
            }
        }
    }
    if (height < 0) {
        *error = path + ": missing the WIDTH HEIGHT header";
        return false;
    }
    if (numbers.size() != size_t(width * height * 3)) {
        *error = path + ": " + std::to_string(numbers.size()) + " pixel values, expected " +
                 std::to_string(width * height * 3) + " (" + std::to_string(width) + " x " + std::to_string(height) +
                 " x 3)";
        return false;
    }
    out->width = int(width);
    out->height = int(height);
    out->rgb.assign(numbers.begin(), numbers.end());
    return true;
}

// Binary PPM (P6, maxval up to 255), as the simulator writes captures.
bool loadPpm(const std::string& path, Capture* out, std::string* error) {
    std::ifstream in(path, std::ios::binary);
    std::string magic;
    in >> magic;
    long header[3];
    for (long& v : header) {
        in >> std::ws;
        while (in.peek() == '#') {
            std::string comment;
            std::getline(in, comment);
            in >> std::ws;
        }
        if (!(in >> v)) {
            *error = path + ": truncated PPM header";
            return false;
        }
    }
    const long width = header[0], height = header[1], maxval = header[2];
    if (width <= 0 || height <= 0 || width > kMaxSide || height > kMaxSide || maxval <= 0 || maxval > 255) {
        *error = path + ": unsupported PPM " + std::to_string(width) + " x " + std::to_string(height) + ", maxval " +
                 std::to_string(maxval);
        return false;
    }
    in.get();  // the single white-space byte before the raster
    std::vector<unsigned char> raster(size_t(width * height * 3));
    in.read(reinterpret_cast<char*>(raster.data()), std::streamsize(raster.size()));
    if (size_t(in.gcount()) != raster.size()) {
        *error = path + ": PPM raster has " + std::to_string(in.gcount()) + " bytes, expected " +
                 std::to_string(raster.size());
        return false;
    }
    out->width = int(width);
    out->height = int(height);
    out->rgb.assign(raster.begin(), raster.end());
    return true;
}

}  // namespace

bool loadCapture(const std::string& path, Capture* out, std::string* error) {
    std::ifstream probe(path, std::ios::binary);
    if (!probe) {
        *error = path + ": cannot open";
        return false;
    }
    unsigned char sig[8] = {0};
    probe.read(reinterpret_cast<char*>(sig), 8);
    if (probe.gcount() == 8 && png_sig_cmp(sig, 0, 8) == 0) return loadPng(path, out, error);
    if (probe.gcount() >= 3 && sig[0] == 'P' && sig[1] == '6' && std::isspace(sig[2])) return loadPpm(path, out, error);
    return loadDump(path, out, error);
}

}  // namespace sensorcfg
