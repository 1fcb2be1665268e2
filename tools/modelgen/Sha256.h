#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace modelgen {

// SHA-256 of a byte buffer as 64 lowercase hex digits (FIPS 180-4).
std::string sha256Hex(const std::vector<uint8_t>& data);

}  // namespace modelgen
