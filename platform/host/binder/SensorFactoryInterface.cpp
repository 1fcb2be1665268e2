// Host build of the generated interface code of ISensorFactory: the client
// proxy sends each call through a transaction of the binder emulation, and
// the server base class ties a service object to its binder.

#include <aidl/vendor/zarn/hardware/sensorfactory/BnSensorFactory.h>
#include <aidl/vendor/zarn/hardware/sensorfactory/BpSensorFactory.h>
#include <aidl/vendor/zarn/hardware/sensorfactory/ISensorFactory.h>

#include "platform/host/binder/HostBinder.h"

namespace aidl {
namespace vendor {
namespace zarn {
namespace hardware {
namespace sensorfactory {

const char* ISensorFactory::descriptor = "vendor.zarn.hardware.sensorfactory.ISensorFactory";
const char* SensorTestResult::descriptor = "vendor.zarn.hardware.sensorfactory.SensorTestResult";
const char* SensorTestResultV2::descriptor = "vendor.zarn.hardware.sensorfactory.SensorTestResultV2";

ISensorFactory::ISensorFactory() = default;
ISensorFactory::~ISensorFactory() = default;

std::shared_ptr<ISensorFactory> ISensorFactory::fromBinder(const ::ndk::SpAIBinder& binder) {
    if (!hostbinder::implements(binder.get(), descriptor)) return nullptr;
    return ::ndk::SharedRefBase::make<BpSensorFactory>(binder);
}

// ---- server side ------------------------------------------------------------

BnSensorFactory::BnSensorFactory() = default;
BnSensorFactory::~BnSensorFactory() = default;

::ndk::SpAIBinder BnSensorFactory::createBinder() {
    return ::ndk::SpAIBinder(hostbinder::newBinder(descriptor, ref<::ndk::ICInterface>()));
}

::ndk::ScopedAStatus BnSensorFactory::getInterfaceVersion(int32_t* _aidl_return) {
    *_aidl_return = ISensorFactory::version;
    return ::ndk::ScopedAStatus::ok();
}

::ndk::ScopedAStatus BnSensorFactory::getInterfaceHash(std::string* _aidl_return) {
    *_aidl_return = ISensorFactory::hash;
    return ::ndk::ScopedAStatus::ok();
}

// ---- client side ------------------------------------------------------------

namespace {

// Sends one call; `out` receives the service's reply value only when both
// the transport and the service report success, as the generated proxy reads
// out values from the reply parcel only then.
template <typename Reply, typename Call>
::ndk::ScopedAStatus transactCall(const ::ndk::SpAIBinder& binder, Reply* out, Call call) {
    Reply reply{};
    ::ndk::ScopedAStatus status;
    binder_status_t transport = hostbinder::transact(
            binder.get(),
            [&](::ndk::ICInterface& service) { return call(static_cast<ISensorFactory&>(service), &reply); },
            &status);
    if (transport != STATUS_OK) return ::ndk::ScopedAStatus::fromStatus(transport);
    if (!status.isOk()) return status;
    if (out == nullptr) return ::ndk::ScopedAStatus::fromStatus(STATUS_UNEXPECTED_NULL);
    *out = reply;
    return ::ndk::ScopedAStatus::ok();
}

}  // namespace

BpSensorFactory::BpSensorFactory(const ::ndk::SpAIBinder& binder) : BpCInterface(binder) {}
BpSensorFactory::~BpSensorFactory() = default;

::ndk::ScopedAStatus BpSensorFactory::runSensorTest(int32_t in_id, int32_t in_arg1, int32_t in_arg2,
                                                    int32_t in_arg3, SensorTestResult* out_result) {
    return transactCall(asBinder(), out_result, [&](ISensorFactory& service, SensorTestResult* reply) {
        return service.runSensorTest(in_id, in_arg1, in_arg2, in_arg3, reply);
    });
}

::ndk::ScopedAStatus BpSensorFactory::runSensorTestV2(int32_t in_id, const std::array<int32_t, 32>& in_args,
                                                      SensorTestResultV2* out_result) {
    // The arguments travel by value, as in a parcel.
    const std::array<int32_t, 32> args = in_args;
    return transactCall(asBinder(), out_result, [&](ISensorFactory& service, SensorTestResultV2* reply) {
        return service.runSensorTestV2(in_id, args, reply);
    });
}

::ndk::ScopedAStatus BpSensorFactory::getInterfaceVersion(int32_t* _aidl_return) {
    if (_aidl_cached_version == -1) {
        ::ndk::ScopedAStatus status = transactCall(asBinder(), &_aidl_cached_version,
                                                   [](ISensorFactory& service, int32_t* reply) {
                                                       return service.getInterfaceVersion(reply);
                                                   });
        if (!status.isOk()) return status;
    }
    *_aidl_return = _aidl_cached_version;
    return ::ndk::ScopedAStatus::ok();
}

::ndk::ScopedAStatus BpSensorFactory::getInterfaceHash(std::string* _aidl_return) {
    if (_aidl_cached_hash == "-1") {
        ::ndk::ScopedAStatus status = transactCall(asBinder(), &_aidl_cached_hash,
                                                   [](ISensorFactory& service, std::string* reply) {
                                                       return service.getInterfaceHash(reply);
                                                   });
        if (!status.isOk()) return status;
    }
    *_aidl_return = _aidl_cached_hash;
    return ::ndk::ScopedAStatus::ok();
}

}  // namespace sensorfactory
}  // namespace hardware
}  // namespace zarn
}  // namespace vendor
}  // namespace aidl
