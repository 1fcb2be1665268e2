#pragma once

// Reads the float32 tensors of a safetensors golden file (test data only).
#include <json/json.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace luxtest {

// Empty map when the file is missing or malformed.
inline std::map<std::string, std::vector<float>> readGolden(const std::string& path) {
    std::map<std::string, std::vector<float>> out;
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    const std::string bytes = ss.str();
    if (bytes.size() < 8) return out;
    uint64_t n = 0;
    for (int i = 7; i >= 0; --i) n = (n << 8) | static_cast<unsigned char>(bytes[i]);
    if (n > bytes.size() - 8) return out;
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    const char* h = bytes.data() + 8;
    if (!reader->parse(h, h + n, &root, &errors) || !root.isObject()) return out;
    for (const std::string& name : root.getMemberNames()) {
        const Json::Value& e = root[name];
        if (name == "__metadata__" || !e.isObject() || !e["data_offsets"].isArray()) continue;
        const uint64_t b = e["data_offsets"][0].asUInt64(), end = e["data_offsets"][1].asUInt64();
        if (b > end || 8 + n + end > bytes.size()) continue;
        std::vector<float> v((end - b) / 4);
        std::memcpy(v.data(), bytes.data() + 8 + n + b, v.size() * 4);
        out[name] = v;
    }
    return out;
}

}  // namespace luxtest
