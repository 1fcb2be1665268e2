#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

#include <aidl/vendor/zarn/hardware/sensorfactory/ISensorFactory.h>
#include <android/binder_ibinder.h>

#include "platform/Export.h"

// Result of a version-1 factory test, as the client hands it to callers.
struct __test_result {
    int32_t success;  // the service's verdict; negative means failure
    float test_val[3];
    float def_base[3];
    float min_base[3];
    float max_base[3];
    char info[64];
};

// Result of a version-2 factory test; `info` is left zero by the client.
struct __test_result_v2 {
    int32_t success;  // the service's verdict; negative means failure
    float val[32];
    char info[64];
};

// Client of the sensor factory-test service. Connects on first use, follows
// the service's death and reconnects on the next call. Every test call holds
// the process-wide `service_mutex` for its whole transaction.
class SC_EXPORT AidlSensorFactoryHalWrapper {
public:
    AidlSensorFactoryHalWrapper();
    ~AidlSensorFactoryHalWrapper();
    AidlSensorFactoryHalWrapper(const AidlSensorFactoryHalWrapper&) = delete;
    AidlSensorFactoryHalWrapper& operator=(const AidlSensorFactoryHalWrapper&) = delete;

    // Connects if needed; true when a service is held. Takes no lock.
    bool getService();
    // Death callback; `cookie` is the wrapper whose service died.
    static void binderDied(void* cookie);
    void resetService();

    // Every byte zero, then the first value -1.0. Null is ignored.
    void zarnSensorInitResult(__test_result* result);
    void zarnSensorInitResultV2(__test_result_v2* result);

    // 0, or -1 when no service is reachable or the verdict is negative. A
    // failed transaction is only logged: the result then reflects whatever
    // the previous answer left behind.
    int zarnSensorTest(__test_result* result, int id, int arg1, int arg2, int arg3);
    // `args` must hold 32 values; all 32 are sent.
    int zarnSensorTestV2(__test_result_v2* result, int id, int* args);

    void showSensorTestResult(__test_result* result);
    void showSensorTestResultV2(__test_result_v2* result);

    static std::mutex service_mutex;

private:
    std::shared_ptr<aidl::vendor::zarn::hardware::sensorfactory::ISensorFactory> mService;
    AIBinder_DeathRecipient* mDeathRecipient;
    aidl::vendor::zarn::hardware::sensorfactory::SensorTestResult mResultV1;
    aidl::vendor::zarn::hardware::sensorfactory::SensorTestResultV2 mResultV2;
    int32_t* mArgs;
};
