#pragma once

// Host build of the NDK backend's parcelable for the version-1 test result.

#include <android/binder_interface_utils.h>

#include <array>
#include <cstdint>

#pragma GCC visibility push(default)

namespace aidl {
namespace vendor {
namespace zarn {
namespace hardware {
namespace sensorfactory {

class SensorTestResult {
public:
    static const char* descriptor;

    int32_t success = 0;
    std::array<float, 3> testVal = {{}};
    std::array<float, 3> defBase = {{}};
    std::array<float, 3> minBase = {{}};
    std::array<float, 3> maxBase = {{}};
    std::array<uint8_t, 64> info = {{}};

    bool operator==(const SensorTestResult& rhs) const {
        return success == rhs.success && testVal == rhs.testVal && defBase == rhs.defBase &&
               minBase == rhs.minBase && maxBase == rhs.maxBase && info == rhs.info;
    }
    bool operator!=(const SensorTestResult& rhs) const { return !(*this == rhs); }
};

}  // namespace sensorfactory
}  // namespace hardware
}  // namespace zarn
}  // namespace vendor
}  // namespace aidl

#pragma GCC visibility pop
