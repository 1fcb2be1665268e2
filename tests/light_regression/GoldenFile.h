#pragma once

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <vector>

namespace lrtest {

// Float32 tensors of a safetensors file, by name; empty when unreadable.
struct GoldenFile {
    explicit GoldenFile(const std::string& path);
    bool ok() const { return !tensors.empty(); }
    // The tensor's values; an empty vector when it is missing.
    const std::vector<float>& operator[](const std::string& name) const;
    bool has(const std::string& name) const { return tensors.count(name) != 0; }

    std::map<std::string, std::vector<float>> tensors;
};

// Path of the checked-in golden vectors.
std::string goldenPath();

// max(1e-5, 1e-5 * |ref|): the tolerance of float code against the float64
// reference.
inline double tolerance(double ref) { return std::max(1e-5, 1e-5 * std::fabs(ref)); }

}  // namespace lrtest
