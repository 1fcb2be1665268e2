#pragma once

// Host build of the NDK backend's interface class for
// vendor.zarn.hardware.sensorfactory.ISensorFactory (frozen version 1).
// Method order follows the interface definition.

#include <android/binder_interface_utils.h>

#include <aidl/vendor/zarn/hardware/sensorfactory/SensorTestResult.h>
#include <aidl/vendor/zarn/hardware/sensorfactory/SensorTestResultV2.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#pragma GCC visibility push(default)

namespace aidl {
namespace vendor {
namespace zarn {
namespace hardware {
namespace sensorfactory {

class ISensorFactory : public ::ndk::ICInterface {
public:
    static const char* descriptor;
    ISensorFactory();
    ~ISensorFactory() override;

    static inline const int32_t version = 1;
    static inline const std::string hash = "15ad21c7091bb702882b59f5fb5f01f8fbe4498a";

    // Null for a null binder or one that serves another interface.
    static std::shared_ptr<ISensorFactory> fromBinder(const ::ndk::SpAIBinder& binder);

    virtual ::ndk::ScopedAStatus runSensorTest(int32_t in_id, int32_t in_arg1, int32_t in_arg2,
                                               int32_t in_arg3, SensorTestResult* out_result) = 0;
    virtual ::ndk::ScopedAStatus runSensorTestV2(int32_t in_id, const std::array<int32_t, 32>& in_args,
                                                 SensorTestResultV2* out_result) = 0;
    virtual ::ndk::ScopedAStatus getInterfaceVersion(int32_t* _aidl_return) = 0;
    virtual ::ndk::ScopedAStatus getInterfaceHash(std::string* _aidl_return) = 0;
};

}  // namespace sensorfactory
}  // namespace hardware
}  // namespace zarn
}  // namespace vendor
}  // namespace aidl

#pragma GCC visibility pop
