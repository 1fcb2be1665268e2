// sc-modelgen: turns a safetensors file of model data into C++ sources that
// compile the tensors in as read-only arrays.
//
//   sc-modelgen --input DATA.safetensors --manifest TENSORS.txt --namespace NS
//               --header OUT.h --source OUT.cpp --include-as PATH/OF/OUT.h
//
// The manifest lists every tensor the model needs, one per line, as a name
// pattern and its shape: `mode{1,2}/level{1..4}/layer1/kernel 3 3 3 32`.
// Braces expand ({a,b} alternatives, {1..4} ranges). Each tensor becomes
// `extern const float <name with non-alphanumerics as _>[d0][d1]...;` in NS.
// The file must hold exactly the listed tensors, as finite little-endian F32
// with the listed shapes; anything else is an error that names the tensor,
// and the build fails. The sha256 of the input is compiled in beside the data
// so that a test can tie the binary to the file in the repository.
#include <json/json.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tools/modelgen/Sha256.h"

namespace {

struct Expected {
    std::string name;
    std::vector<int64_t> shape;
};

struct Tensor {
    std::string dtype;
    std::vector<int64_t> shape;
    uint64_t begin = 0, end = 0;
};

[[noreturn]] void fail(const std::string& msg) {
    std::cerr << "sc-modelgen: " << msg << "\n";
    std::exit(1);
}

std::string shapeText(const std::vector<int64_t>& s) {
    std::string out = "[";
    for (size_t i = 0; i < s.size(); ++i) out += (i ? "," : "") + std::to_string(s[i]);
    return out + "]";
}

// Expands the first brace group, then recurses on the results.
void expand(const std::string& pattern, std::vector<std::string>& out, const std::string& where) {
    size_t open = pattern.find('{');
    if (open == std::string::npos) {
        out.push_back(pattern);
        return;
    }
    size_t close = pattern.find('}', open);
    if (close == std::string::npos) fail(where + ": unmatched '{' in " + pattern);
    std::string body = pattern.substr(open + 1, close - open - 1);
    std::string head = pattern.substr(0, open), tail = pattern.substr(close + 1);
    std::vector<std::string> alts;
    size_t dots = body.find("..");
    if (dots != std::string::npos) {
        long lo = std::strtol(body.substr(0, dots).c_str(), nullptr, 10);
        long hi = std::strtol(body.substr(dots + 2).c_str(), nullptr, 10);
        if (hi < lo) fail(where + ": empty range {" + body + "}");
        for (long v = lo; v <= hi; ++v) alts.push_back(std::to_string(v));
    } else {
        std::stringstream ss(body);
        std::string a;
        while (std::getline(ss, a, ',')) alts.push_back(a);
    }
    for (const std::string& a : alts) expand(head + a + tail, out, where);
}

std::vector<Expected> readManifest(const std::string& path) {
    std::ifstream in(path);
    if (!in) fail(path + ": cannot read manifest");
    std::vector<Expected> out;
    std::string line;
    int lineNo = 0;
    while (std::getline(in, line)) {
        ++lineNo;
        size_t hash = line.find('#');
        if (hash != std::string::npos) line.resize(hash);
        std::stringstream ss(line);
        std::string pattern;
        if (!(ss >> pattern)) continue;
        std::vector<int64_t> shape;
        std::string dim;
        while (ss >> dim) {
            char* end = nullptr;
            long long v = std::strtoll(dim.c_str(), &end, 10);
            if (*end != '\0' || v <= 0) fail(path + ":" + std::to_string(lineNo) + ": bad dimension " + dim);
            shape.push_back(v);
        }
        if (shape.empty()) fail(path + ":" + std::to_string(lineNo) + ": " + pattern + " has no shape");
        std::vector<std::string> names;
        expand(pattern, names, path + ":" + std::to_string(lineNo));
        for (const std::string& n : names) out.push_back({n, shape});
    }
    return out;
}

std::vector<uint8_t> readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) fail(path + ": cannot read");
    return std::vector<uint8_t>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::map<std::string, Tensor> readHeader(const std::string& path, const std::vector<uint8_t>& bytes,
                                         size_t* dataStart) {
    if (bytes.size() < 8) fail(path + ": too short for a safetensors file");
    uint64_t n = 0;
    for (int i = 7; i >= 0; --i) n = (n << 8) | bytes[i];
    if (n > bytes.size() - 8) fail(path + ": header length " + std::to_string(n) + " runs past the end of the file");
    std::string text(reinterpret_cast<const char*>(bytes.data() + 8), n);
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &root, &errors) || !root.isObject())
        fail(path + ": header is not a JSON object: " + errors);
    *dataStart = 8 + n;
    const uint64_t dataSize = bytes.size() - *dataStart;
    std::map<std::string, Tensor> tensors;
    for (const std::string& name : root.getMemberNames()) {
        if (name == "__metadata__") continue;
        const Json::Value& v = root[name];
        const std::string where = path + ": tensor \"" + name + "\"";
        if (!v.isObject() || !v["dtype"].isString() || !v["shape"].isArray() || !v["data_offsets"].isArray() ||
            v["data_offsets"].size() != 2)
            fail(where + ": malformed header entry");
        Tensor t;
        t.dtype = v["dtype"].asString();
        for (const Json::Value& d : v["shape"]) {
            if (!d.isIntegral() || d.asLargestInt() < 0) fail(where + ": malformed shape");
            t.shape.push_back(d.asLargestInt());
        }
        const Json::Value& off = v["data_offsets"];
        if (!off[0].isIntegral() || !off[1].isIntegral()) fail(where + ": malformed data_offsets");
        t.begin = off[0].asLargestUInt();
        t.end = off[1].asLargestUInt();
        if (t.begin > t.end || t.end > dataSize) fail(where + ": data_offsets outside the data");
        tensors[name] = t;
    }
    return tensors;
}

std::string symbolOf(const std::string& name) {
    std::string s = name;
    for (char& c : s)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    if (s.empty() || std::isdigit(static_cast<unsigned char>(s[0]))) s = "t_" + s;
    return s;
}

std::string dims(const std::vector<int64_t>& shape) {
    std::string out;
    for (int64_t d : shape) out += "[" + std::to_string(d) + "]";
    return out;
}

// Nested initialiser, one innermost row per line.
void emitValues(std::ostream& os, const float* v, const std::vector<int64_t>& shape, size_t axis, size_t* idx) {
    os << "{";
    for (int64_t i = 0; i < shape[axis]; ++i) {
        if (axis + 1 == shape.size()) {
            char buf[40];
            std::snprintf(buf, sizeof buf, "%af", static_cast<double>(v[(*idx)++]));
            os << (i ? ", " : "") << buf;
        } else {
            if (i) os << ",";
            os << "\n";
            emitValues(os, v, shape, axis + 1, idx);
        }
    }
    os << "}";
}

}  // namespace

int main(int argc, char** argv) {
    std::map<std::string, std::string> opt;
    for (int i = 1; i + 1 < argc; i += 2) opt[argv[i]] = argv[i + 1];
    for (const char* k : {"--input", "--manifest", "--namespace", "--header", "--source", "--include-as"})
        if (!opt.count(k)) fail(std::string("missing option ") + k);
    const std::string input = opt["--input"];

    const std::vector<Expected> expected = readManifest(opt["--manifest"]);
    const std::vector<uint8_t> bytes = readFile(input);
    size_t dataStart = 0;
    std::map<std::string, Tensor> tensors = readHeader(input, bytes, &dataStart);

    std::map<std::string, bool> listed;
    std::map<std::string, std::string> symbols;
    for (const Expected& e : expected) {
        const std::string where = input + ": tensor \"" + e.name + "\"";
        if (listed.count(e.name)) fail(opt["--manifest"] + ": tensor \"" + e.name + "\" listed twice");
        listed[e.name] = true;
        auto it = tensors.find(e.name);
        if (it == tensors.end()) fail(where + ": missing");
        const Tensor& t = it->second;
        if (t.dtype != "F32") fail(where + ": dtype " + t.dtype + ", expected F32");
        if (t.shape != e.shape) fail(where + ": shape " + shapeText(t.shape) + ", expected " + shapeText(e.shape));
        uint64_t count = 1;
        for (int64_t d : e.shape) count *= uint64_t(d);
        if (t.end - t.begin != count * 4)
            fail(where + ": holds " + std::to_string(t.end - t.begin) + " bytes, expected " + std::to_string(count * 4));
        const std::string sym = symbolOf(e.name);
        for (const auto& s : symbols)
            if (s.second == sym) fail(where + ": same C++ name as \"" + s.first + "\"");
        symbols[e.name] = sym;
    }
    for (const auto& t : tensors)
        if (!listed.count(t.first)) fail(input + ": tensor \"" + t.first + "\": not in the manifest");

    const std::string sha = modelgen::sha256Hex(bytes);
    std::string base = input.substr(input.find_last_of('/') + 1);
    const std::string ns = opt["--namespace"];

    std::ofstream h(opt["--header"]);
    h << "// Generated by sc-modelgen from " << base << " (sha256 " << sha << "). Do not edit.\n"
      << "#pragma once\n\nnamespace " << ns << " {\n\n"
      << "#define SC_MODEL_DATA_EXPORT __attribute__((visibility(\"default\")))\n\n"
      << "// File name and sha256 of the data file these arrays were generated from.\n"
      << "extern SC_MODEL_DATA_EXPORT const char kSourceName[];\n"
      << "extern SC_MODEL_DATA_EXPORT const char kSourceSha256[];\n\n";
    for (const Expected& e : expected)
        h << "extern SC_MODEL_DATA_EXPORT const float " << symbols[e.name] << dims(e.shape) << ";\n";
    h << "\n}  // namespace " << ns << "\n";

    std::ofstream s(opt["--source"]);
    s << "// Generated by sc-modelgen from " << base << ". Do not edit.\n"
      << "#include \"" << opt["--include-as"] << "\"\n\nnamespace " << ns << " {\n\n"
      << "const char kSourceName[] = \"" << base << "\";\n"
      << "const char kSourceSha256[] = \"" << sha << "\";\n";
    for (const Expected& e : expected) {
        const Tensor& t = tensors[e.name];
        std::vector<float> v((t.end - t.begin) / 4);
        std::memcpy(v.data(), bytes.data() + dataStart + t.begin, v.size() * 4);  // host is little-endian
        for (size_t i = 0; i < v.size(); ++i)
            if (!std::isfinite(v[i]))
                fail(input + ": tensor \"" + e.name + "\": non-finite value at index " + std::to_string(i));
        s << "\n// " << e.name << "\nalignas(64) const float " << symbols[e.name] << dims(e.shape) << " = ";
        size_t idx = 0;
        emitValues(s, v.data(), e.shape, 0, &idx);
        s << ";\n";
    }
    s << "\n}  // namespace " << ns << "\n";
    if (!h || !s) fail("cannot write the outputs");
    return 0;
}
