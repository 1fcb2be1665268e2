#pragma once

// Host build of the NDK backend's parcelable for the version-2 test result.

#include <android/binder_interface_utils.h>

#include <array>
#include <cstdint>

#pragma GCC visibility push(default)

namespace aidl {
namespace vendor {
namespace zarn {
namespace hardware {
namespace sensorfactory {

class SensorTestResultV2 {
public:
    static const char* descriptor;

    int32_t success = 0;
    std::array<float, 32> val = {{}};
    std::array<uint8_t, 64> info = {{}};

    bool operator==(const SensorTestResultV2& rhs) const {
        return success == rhs.success && val == rhs.val && info == rhs.info;
    }
    bool operator!=(const SensorTestResultV2& rhs) const { return !(*this == rhs); }
};

}  // namespace sensorfactory
}  // namespace hardware
}  // namespace zarn
}  // namespace vendor
}  // namespace aidl

#pragma GCC visibility pop
