#pragma once

// Host build of the NDK backend's client proxy. Out parameters are written
// only from an OK reply, as the generated code reads them from the reply
// parcel only then.

#include <aidl/vendor/zarn/hardware/sensorfactory/ISensorFactory.h>

#pragma GCC visibility push(default)

namespace aidl {
namespace vendor {
namespace zarn {
namespace hardware {
namespace sensorfactory {

class BpSensorFactory : public ::ndk::BpCInterface<ISensorFactory> {
public:
    explicit BpSensorFactory(const ::ndk::SpAIBinder& binder);
    ~BpSensorFactory() override;

    ::ndk::ScopedAStatus runSensorTest(int32_t in_id, int32_t in_arg1, int32_t in_arg2, int32_t in_arg3,
                                       SensorTestResult* out_result) override;
    ::ndk::ScopedAStatus runSensorTestV2(int32_t in_id, const std::array<int32_t, 32>& in_args,
                                         SensorTestResultV2* out_result) override;
    ::ndk::ScopedAStatus getInterfaceVersion(int32_t* _aidl_return) override;
    ::ndk::ScopedAStatus getInterfaceHash(std::string* _aidl_return) override;

private:
    int32_t _aidl_cached_version = -1;
    std::string _aidl_cached_hash = "-1";
};

}  // namespace sensorfactory
}  // namespace hardware
}  // namespace zarn
}  // namespace vendor
}  // namespace aidl

#pragma GCC visibility pop
