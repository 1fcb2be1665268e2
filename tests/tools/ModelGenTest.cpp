#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/TestEnv.h"
#include "tools/modelgen/Sha256.h"

namespace {

struct Entry {
    std::string name, dtype;
    std::vector<int> shape;
    std::vector<float> values;
};

// Builds a safetensors file byte by byte, independently of any reader.
std::string safetensors(const std::vector<Entry>& entries, size_t truncateTo = std::string::npos) {
    std::string header = "{", data;
    for (size_t i = 0; i < entries.size(); ++i) {
        const Entry& e = entries[i];
        std::string shape;
        for (size_t d = 0; d < e.shape.size(); ++d) shape += (d ? "," : "") + std::to_string(e.shape[d]);
        size_t begin = data.size();
        data.append(reinterpret_cast<const char*>(e.values.data()), e.values.size() * 4);
        header += (i ? "," : "") + std::string("\"") + e.name + "\":{\"dtype\":\"" + e.dtype + "\",\"shape\":[" +
                  shape + "],\"data_offsets\":[" + std::to_string(begin) + "," + std::to_string(data.size()) + "]}";
    }
    header += ",\"__metadata__\":{\"note\":\"test\"}}";
    std::string out(8, '\0');
    uint64_t n = header.size();
    for (int i = 0; i < 8; ++i) out[i] = char((n >> (8 * i)) & 0xff);
    out += header + data;
    if (truncateTo != std::string::npos) out.resize(truncateTo);
    return out;
}

class ModelGen : public ::testing::Test {
protected:
    // Runs the generator on `file` with the manifest; returns its exit status
    // and leaves its error output in `err`.
    int run(const std::string& file, const std::string& manifest) {
        dir.write("m.txt", manifest);
        const std::string input = dir.write("data.safetensors", file);
        std::string cmd = std::string(SC_MODELGEN) + " --input " + input + " --manifest " + dir.path() +
                          "/m.txt --namespace ns --header " + dir.path() + "/out.h --source " + dir.path() +
                          "/out.cpp --include-as out.h 2>" + dir.path() + "/err.txt";
        int status = std::system(cmd.c_str());
        err = slurp(dir.path() + "/err.txt");
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    static std::string slurp(const std::string& path) {
        std::ifstream in(path);
        std::stringstream ss;
        ss << in.rdbuf();
        return ss.str();
    }
    sctest::TempDir dir;
    std::string err;
};

const char* kManifest = "# two sets\nset{1..2}/kernel 2 3\nset{1,2}/bias 3\n";

std::vector<Entry> goodEntries() {
    return {{"set1/kernel", "F32", {2, 3}, {1, 2, 3, 4, 5, 6}},
            {"set2/kernel", "F32", {2, 3}, {0.5f, -1, 1e-30f, 7, 8, 9}},
            {"set1/bias", "F32", {3}, {0.1f, 0.2f, 0.3f}},
            {"set2/bias", "F32", {3}, {-0.1f, 0, 3.4e38f}}};
}

TEST_F(ModelGen, GeneratesDeclarationsAndExactValues) {
    ASSERT_EQ(run(safetensors(goodEntries()), kManifest), 0) << err;
    std::string h = slurp(dir.path() + "/out.h"), cpp = slurp(dir.path() + "/out.cpp");
    EXPECT_NE(h.find("const float set1_kernel[2][3];"), std::string::npos);
    EXPECT_NE(h.find("const float set2_bias[3];"), std::string::npos);
    EXPECT_NE(cpp.find("0x1p-1f, -0x1p+0f"), std::string::npos);  // 0.5, -1 in hex, exactly
    std::ifstream in(dir.path() + "/data.safetensors", std::ios::binary);
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_NE(cpp.find("kSourceSha256[] = \"" + modelgen::sha256Hex(bytes) + "\""), std::string::npos);
}

struct BadCase {
    const char* name;
    std::vector<Entry> entries;
    size_t truncateTo;
    const char* message;
    const char* manifest = kManifest;
};

class ModelGenRejects : public ModelGen, public ::testing::WithParamInterface<BadCase> {};

TEST_P(ModelGenRejects, NamesTheProblem) {
    EXPECT_EQ(run(safetensors(GetParam().entries, GetParam().truncateTo), GetParam().manifest), 1);
    EXPECT_NE(err.find(GetParam().message), std::string::npos) << err;
}

std::vector<Entry> with(std::vector<Entry> e, size_t i, Entry replacement) {
    e[i] = replacement;
    return e;
}
std::vector<Entry> without(std::vector<Entry> e, size_t i) {
    e.erase(e.begin() + long(i));
    return e;
}
std::vector<Entry> plus(std::vector<Entry> e, Entry extra) {
    e.push_back(extra);
    return e;
}

INSTANTIATE_TEST_SUITE_P(
        Files, ModelGenRejects,
        ::testing::Values(
                BadCase{"missing", without(goodEntries(), 2), std::string::npos, "tensor \"set1/bias\": missing"},
                BadCase{"shape", with(goodEntries(), 1, {"set2/kernel", "F32", {3, 2}, {1, 2, 3, 4, 5, 6}}),
                        std::string::npos, "tensor \"set2/kernel\": shape [3,2], expected [2,3]"},
                BadCase{"dtype", with(goodEntries(), 3, {"set2/bias", "F16", {3}, {1, 2, 3}}), std::string::npos,
                        "tensor \"set2/bias\": dtype F16, expected F32"},
                BadCase{"extra", plus(goodEntries(), {"set3/bias", "F32", {1}, {1}}), std::string::npos,
                        "tensor \"set3/bias\": not in the manifest"},
                BadCase{"nan", with(goodEntries(), 2, {"set1/bias", "F32", {3}, {0, NAN, 0}}), std::string::npos,
                        "tensor \"set1/bias\": non-finite value at index 1"},
                BadCase{"short_data", with(goodEntries(), 2, {"set1/bias", "F32", {3}, {0, 1}}), std::string::npos,
                        "tensor \"set1/bias\": holds 8 bytes, expected 12"},
                BadCase{"truncated_data", goodEntries(), 300, "data_offsets outside the data"},
                BadCase{"truncated_header", goodEntries(), 40, "runs past the end of the file"},
                BadCase{"empty", goodEntries(), 0, "too short"},
                BadCase{"manifest_dimension", goodEntries(), std::string::npos, "bad dimension x", "set1/kernel 2 x\n"},
                BadCase{"manifest_brace", goodEntries(), std::string::npos, "unmatched", "set{1..2/kernel 2 3\n"}),
        [](const auto& info) { return std::string(info.param.name); });

// FIPS 180-4 examples.
TEST(Sha256, KnownVectors) {
    auto hex = [](const std::string& s) { return modelgen::sha256Hex(std::vector<uint8_t>(s.begin(), s.end())); };
    EXPECT_EQ(hex(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(hex("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(hex("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
    EXPECT_EQ(hex(std::string(1000000, 'a')), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

}  // namespace
