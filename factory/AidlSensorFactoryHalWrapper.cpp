#include "factory/AidlSensorFactoryHalWrapper.h"

#include <android/binder_auto_utils.h>
#include <android/binder_manager.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/Log.h"

using aidl::vendor::zarn::hardware::sensorfactory::ISensorFactory;

namespace {
constexpr const char* kServiceInstance = "vendor.zarn.hardware.sensorfactory.ISensorFactory/default";
constexpr int kArgCount = 32;
constexpr int kV1Values = 3;
constexpr int kInfoBytes = 64;
}  // namespace

std::mutex AidlSensorFactoryHalWrapper::service_mutex;

AidlSensorFactoryHalWrapper::AidlSensorFactoryHalWrapper()
    : mDeathRecipient(AIBinder_DeathRecipient_new(binderDied)),
      mResultV1(),
      mResultV2(),
      mArgs(static_cast<int32_t*>(std::malloc(kArgCount * sizeof(int32_t)))) {}

AidlSensorFactoryHalWrapper::~AidlSensorFactoryHalWrapper() {
    std::free(mArgs);
    // Unlinks too, and waits out a death callback already running for us.
    AIBinder_DeathRecipient_delete(mDeathRecipient);
    mService.reset();
}

bool AidlSensorFactoryHalWrapper::getService() {
    if (mService) return true;
    AIBinder* binder = AServiceManager_checkService(kServiceInstance);
    std::shared_ptr<ISensorFactory> service;
    if (binder != nullptr) {
        // The proxy holds its own reference; ours goes back below.
        AIBinder_incStrong(binder);
        service = ISensorFactory::fromBinder(ndk::SpAIBinder(binder));
    }
    mService = std::move(service);
    if (mService) {
        AIBinder_linkToDeath(binder, mDeathRecipient, this);
        SC_LOGD("UL: zarnsensortest getService success!!!");
    } else {
        SC_LOGD("UL: zarnsensortest getService failed!!!");
    }
    if (binder != nullptr) AIBinder_decStrong(binder);
    return mService != nullptr;
}

void AidlSensorFactoryHalWrapper::binderDied(void* cookie) {
    SC_LOGD("UL: ISensorFactory service died.");
    auto* self = static_cast<AidlSensorFactoryHalWrapper*>(cookie);
    std::lock_guard<std::mutex> lock(service_mutex);
    self->mService.reset();
}

void AidlSensorFactoryHalWrapper::resetService() {
    std::lock_guard<std::mutex> lock(service_mutex);
    mService.reset();
}

void AidlSensorFactoryHalWrapper::zarnSensorInitResult(__test_result* result) {
    if (result == nullptr) return;
    std::memset(result, 0, sizeof(*result));
    result->test_val[0] = -1.0f;
}

void AidlSensorFactoryHalWrapper::zarnSensorInitResultV2(__test_result_v2* result) {
    if (result == nullptr) return;
    std::memset(result, 0, sizeof(*result));
    result->val[0] = -1.0f;
}

int AidlSensorFactoryHalWrapper::zarnSensorTest(__test_result* result, int id, int arg1, int arg2, int arg3) {
    SC_LOGD("UL: zarnsensortest V1 start ID 0x%x %d %d %d", id, arg1, arg2, arg3);
    if (result != nullptr) zarnSensorInitResult(result);

    std::lock_guard<std::mutex> lock(service_mutex);
    if (!getService()) {
        SC_LOGD("UL: zarnsensortest V1 error !! SERVICE IS NULL");
        SC_LOGD("UL: zarnsensortest V1 end ID 0x%x ret %d", id, -1);
        return -1;
    }
    ndk::ScopedAStatus status = mService->runSensorTest(id, arg1, arg2, arg3, &mResultV1);

    // On a failed transaction mResultV1 still holds the previous answer; it
    // is reported as it stands.
    const int32_t success = mResultV1.success;
    SC_LOGD("UL: zarnsensortest V1 _aidl_return, val success = %d, val len test/def/min/max/info:%d/%d/%d/%d/%d",
            success, kV1Values, kV1Values, kV1Values, kV1Values, kInfoBytes);
    if (result != nullptr) {
        result->success = success;
        std::memcpy(result->test_val, mResultV1.testVal.data(), sizeof(result->test_val));
        std::memcpy(result->def_base, mResultV1.defBase.data(), sizeof(result->def_base));
        std::memcpy(result->min_base, mResultV1.minBase.data(), sizeof(result->min_base));
        std::memcpy(result->max_base, mResultV1.maxBase.data(), sizeof(result->max_base));
        std::memcpy(result->info, mResultV1.info.data(), sizeof(result->info));
    }
    const int ret = success < 0 ? -1 : 0;
    if (status.isOk()) {
        SC_LOGD("UL: zarnsensortest V1 end ID 0x%x ret %d", id, ret);
    } else {
        SC_LOGD("UL: zarnsensortest V1 error !!  reutrn is not ok");
    }
    return ret;
}

int AidlSensorFactoryHalWrapper::zarnSensorTestV2(__test_result_v2* result, int id, int* args) {
    // A missing argument array is sent as zeros rather than read through.
    static const int kNoArgs[kArgCount] = {};
    const int* in = args != nullptr ? args : kNoArgs;
    SC_LOGD("UL: zarnsensortest V2 start ID 0x%x , args[=]=%d %d %d %d %d %d %d %d %d %d %d %d %d %d %d %d", id,
            in[0], in[1], in[2], in[3], in[4], in[5], in[6], in[7], in[8], in[9], in[10], in[11], in[12], in[13],
            in[14], in[15]);
    if (result != nullptr) zarnSensorInitResultV2(result);
    // Copied before the lock: one wrapper must not be shared between threads.
    std::memcpy(mArgs, in, kArgCount * sizeof(int32_t));

    std::lock_guard<std::mutex> lock(service_mutex);
    if (!getService()) {
        SC_LOGD("UL: zarnsensortest V2 error !! SERVICE IS NULL");
        SC_LOGD("UL: zarnsensortest V2 end ID 0x%x ret %d", id, -1);
        return -1;
    }
    std::array<int32_t, kArgCount> request;
    std::memcpy(request.data(), mArgs, sizeof(request));
    ndk::ScopedAStatus status = mService->runSensorTestV2(id, request, &mResultV2);

    const int32_t success = mResultV2.success;
    if (result != nullptr) {
        result->success = success;
        std::memcpy(result->val, mResultV2.val.data(), sizeof(result->val));
    }
    const int ret = success < 0 ? -1 : 0;
    if (status.isOk()) {
        SC_LOGD("UL: zarnsensortest V2 end ID 0x%x ret %d", id, ret);
    } else {
        SC_LOGD("UL: zarnsensortest V2 error !!  reutrn is not ok");
    }
    return ret;
}

void AidlSensorFactoryHalWrapper::showSensorTestResult(__test_result* result) {
    if (result == nullptr) return;
    SC_LOGD("UL: zarnsensortest showSensorTestResult V1:\tsusccess=%d\ttest_val=[%f,%f,%f]\tdef_base=[%f,%f,%f]"
            "\tmin_base=[%f,%f,%f]\tmax_base=[%f,%f,%f]\tinfo: \"%s\"",
            result->success, result->test_val[0], result->test_val[1], result->test_val[2], result->def_base[0],
            result->def_base[1], result->def_base[2], result->min_base[0], result->min_base[1],
            result->min_base[2], result->max_base[0], result->max_base[1], result->max_base[2],
            // The service's text need not be terminated within the record.
            std::string(result->info, strnlen(result->info, sizeof(result->info))).c_str());
}

void AidlSensorFactoryHalWrapper::showSensorTestResultV2(__test_result_v2* result) {
    if (result == nullptr) return;
    constexpr int kValues = sizeof(result->val) / sizeof(result->val[0]);
    std::string text = "len: " + std::to_string(kValues) + "; ";
    for (int i = 0; i < kValues; ++i) {
        switch (i) {
        case 0: text += "1-10:"; break;
        case 10: text += "11-20:"; break;
        case 20: text += "21-30:"; break;
        case 30: text += "31-32:"; break;
        default: break;
        }
        text += std::to_string(result->val[i]);
        text += ' ';
    }
    SC_LOGD("UL: zarnsensortest showSensorTestResult V2: %s", text.c_str());
}
