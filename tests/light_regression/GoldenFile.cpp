#include "tests/light_regression/GoldenFile.h"

#include <json/json.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>

#include "tests/support/TestEnv.h"

namespace lrtest {

GoldenFile::GoldenFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (bytes.size() < 8) return;
    uint64_t n = 0;
    for (int i = 7; i >= 0; --i) n = (n << 8) | static_cast<unsigned char>(bytes[i]);
    if (n > bytes.size() - 8) return;
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    if (!reader->parse(bytes.data() + 8, bytes.data() + 8 + n, &root, nullptr) || !root.isObject()) return;
    const size_t base = 8 + n;
    for (const std::string& name : root.getMemberNames()) {
        const Json::Value& e = root[name];
        if (name == "__metadata__" || !e.isObject() || !e["data_offsets"].isArray()) continue;
        const uint64_t b = e["data_offsets"][0].asUInt64(), end = e["data_offsets"][1].asUInt64();
        if (end < b || base + end > bytes.size()) continue;
        std::vector<float> v((end - b) / 4);
        std::memcpy(v.data(), bytes.data() + base + b, v.size() * 4);
        tensors[name] = std::move(v);
    }
}

const std::vector<float>& GoldenFile::operator[](const std::string& name) const {
    static const std::vector<float> kEmpty;
    auto it = tensors.find(name);
    return it == tensors.end() ? kEmpty : it->second;
}

std::string goldenPath() { return sctest::sourceDir() + "/tests/light_regression/light_regression_golden.safetensors"; }

}  // namespace lrtest
