#pragma once

// An in-process factory-test service for tests and desk demos. It answers the
// light-sensor calibration test (590) with 30 floats and can be told to fail
// in every way a real service can: a negative verdict, an error status, a
// call that blocks, a process that dies (now or in the middle of a call).

#include <aidl/vendor/zarn/hardware/sensorfactory/BnSensorFactory.h>

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>

#pragma GCC visibility push(default)

namespace hostbinder {

constexpr const char* kSensorFactoryInstance = "vendor.zarn.hardware.sensorfactory.ISensorFactory/default";

class FakeSensorFactory : public aidl::vendor::zarn::hardware::sensorfactory::BnSensorFactory {
public:
    using SensorTestResult = aidl::vendor::zarn::hardware::sensorfactory::SensorTestResult;
    using SensorTestResultV2 = aidl::vendor::zarn::hardware::sensorfactory::SensorTestResultV2;
    // Per colour (red, green, blue): five channels (c, r, g, b, w) of the
    // first group, then five of the second.
    using Calibration = std::array<float, 30>;

    static constexpr int32_t kCalibrationTest = 590;
    // Verdict for test numbers this service does not know.
    static constexpr int32_t kUnknownTest = -22;

    // A made-up but plausible unit, not measured data: first-group channels
    // a few per cent above the usual reference unit (red 2467.453, 5863.13,
    // 778.103, 277.602, 2363.587; green and blue of the same magnitude) and
    // the second group slightly below the first.
    static Calibration unitCalibration();

    FakeSensorFactory();
    explicit FakeSensorFactory(const Calibration& calibration);
    ~FakeSensorFactory() override;

    // Registers this service under `instance` with the service manager.
    bool registerAs(const char* instance = kSensorFactoryInstance);

    void setCalibration(const Calibration& calibration);
    // The `success` field of every answer (0 until set).
    void setVerdict(int32_t success);
    // Every call fails with this status instead of answering (the reply and
    // its out values are then not sent).
    void failWithServiceSpecific(int32_t code);
    void failWithException(binder_exception_t exception);
    void failWithStatus(binder_status_t status);
    void answerNormally();

    // Calls wait until unblock() or the service dies.
    void blockCalls();
    void unblock();
    // True once a call is waiting in blockCalls() mode.
    bool waitUntilBlocked(std::chrono::milliseconds timeout);
    // The process dies while handling the next call: the caller gets no reply.
    void dieOnNextCall();
    // The process dies now; blocked calls end without a reply.
    void die();

    int callCount() const;
    int32_t lastId() const;
    std::array<int32_t, 32> lastArgs() const;

    ndk::ScopedAStatus runSensorTest(int32_t id, int32_t arg1, int32_t arg2, int32_t arg3,
                                     SensorTestResult* result) override;
    ndk::ScopedAStatus runSensorTestV2(int32_t id, const std::array<int32_t, 32>& args,
                                       SensorTestResultV2* result) override;

private:
    enum class Failure { None, ServiceSpecific, Exception, Status };

    // Records the call, blocks or dies as told; returns the failure to send,
    // if any. Called with `mMutex` held through `lock`.
    ndk::ScopedAStatus beginCall(std::unique_lock<std::mutex>& lock, int32_t id,
                                 const std::array<int32_t, 32>& args);

    mutable std::mutex mMutex;
    std::condition_variable mCondition;
    Calibration mCalibration;
    int32_t mVerdict = 0;
    Failure mFailure = Failure::None;
    int32_t mFailureCode = 0;
    bool mBlock = false;
    int mBlocked = 0;
    bool mDieOnNextCall = false;
    bool mDead = false;
    int mCalls = 0;
    int32_t mLastId = 0;
    std::array<int32_t, 32> mLastArgs = {{}};
};

// Stands up a fake service for a scope: registered on construction,
// unregistered (not killed) at the end, once pending death notifications
// have been delivered.
class ScopedFakeSensorFactory {
public:
    explicit ScopedFakeSensorFactory(
            const FakeSensorFactory::Calibration& calibration = FakeSensorFactory::unitCalibration());
    ~ScopedFakeSensorFactory();
    ScopedFakeSensorFactory(const ScopedFakeSensorFactory&) = delete;
    ScopedFakeSensorFactory& operator=(const ScopedFakeSensorFactory&) = delete;

    FakeSensorFactory& service() { return *mService; }
    FakeSensorFactory* operator->() { return mService.get(); }

private:
    std::shared_ptr<FakeSensorFactory> mService;
};

}  // namespace hostbinder

#pragma GCC visibility pop
