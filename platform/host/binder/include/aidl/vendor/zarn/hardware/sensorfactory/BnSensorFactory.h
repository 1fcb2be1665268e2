#pragma once

// Host build of the NDK backend's server base class: a service implements the
// test methods on a subclass of BnSensorFactory.

#include <aidl/vendor/zarn/hardware/sensorfactory/ISensorFactory.h>

#pragma GCC visibility push(default)

namespace aidl {
namespace vendor {
namespace zarn {
namespace hardware {
namespace sensorfactory {

class BnSensorFactory : public ::ndk::BnCInterface<ISensorFactory> {
public:
    BnSensorFactory();
    ~BnSensorFactory() override;
    ::ndk::ScopedAStatus getInterfaceVersion(int32_t* _aidl_return) final;
    ::ndk::ScopedAStatus getInterfaceHash(std::string* _aidl_return) final;

protected:
    ::ndk::SpAIBinder createBinder() override;
};

}  // namespace sensorfactory
}  // namespace hardware
}  // namespace zarn
}  // namespace vendor
}  // namespace aidl

#pragma GCC visibility pop
