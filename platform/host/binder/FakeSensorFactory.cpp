#include "platform/host/binder/FakeSensorFactory.h"

#include <android/binder_manager.h>

#include <cstdio>

#include "platform/host/binder/HostBinder.h"

namespace hostbinder {

FakeSensorFactory::Calibration FakeSensorFactory::unitCalibration() {
    // Reference-like first groups per colour; the unit reads 4 % (red), 3 %
    // (green) and 5 % (blue) higher, and its second group 1.5 % lower.
    static const float kFirst[3][5] = {
            {2467.453f, 5863.13f, 778.103f, 277.602f, 2363.587f},
            {2211.870f, 1043.260f, 4390.515f, 912.334f, 2087.916f},
            {1688.214f, 402.751f, 1102.683f, 4755.049f, 1549.322f},
    };
    static const float kUnit[3] = {1.04f, 1.03f, 1.05f};
    Calibration c{};
    for (int k = 0; k < 3; ++k) {
        for (int ch = 0; ch < 5; ++ch) {
            float first = kFirst[k][ch] * kUnit[k];
            c[10 * k + ch] = first;
            c[10 * k + 5 + ch] = first * 0.985f;
        }
    }
    return c;
}

FakeSensorFactory::FakeSensorFactory() : FakeSensorFactory(unitCalibration()) {}
FakeSensorFactory::FakeSensorFactory(const Calibration& calibration) : mCalibration(calibration) {}

FakeSensorFactory::~FakeSensorFactory() = default;

bool FakeSensorFactory::registerAs(const char* instance) {
    return AServiceManager_addService(asBinder().get(), instance) == EX_NONE;
}

void FakeSensorFactory::setCalibration(const Calibration& calibration) {
    std::lock_guard<std::mutex> lock(mMutex);
    mCalibration = calibration;
}

void FakeSensorFactory::setVerdict(int32_t success) {
    std::lock_guard<std::mutex> lock(mMutex);
    mVerdict = success;
}

void FakeSensorFactory::failWithServiceSpecific(int32_t code) {
    std::lock_guard<std::mutex> lock(mMutex);
    mFailure = Failure::ServiceSpecific;
    mFailureCode = code;
}

void FakeSensorFactory::failWithException(binder_exception_t exception) {
    std::lock_guard<std::mutex> lock(mMutex);
    mFailure = Failure::Exception;
    mFailureCode = exception;
}

void FakeSensorFactory::failWithStatus(binder_status_t status) {
    std::lock_guard<std::mutex> lock(mMutex);
    mFailure = Failure::Status;
    mFailureCode = status;
}

void FakeSensorFactory::answerNormally() {
    std::lock_guard<std::mutex> lock(mMutex);
    mFailure = Failure::None;
}

void FakeSensorFactory::blockCalls() {
    std::lock_guard<std::mutex> lock(mMutex);
    mBlock = true;
}

void FakeSensorFactory::unblock() {
    std::lock_guard<std::mutex> lock(mMutex);
    mBlock = false;
    mCondition.notify_all();
}

bool FakeSensorFactory::waitUntilBlocked(std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mMutex);
    return mCondition.wait_for(lock, timeout, [this] { return mBlocked > 0; });
}

void FakeSensorFactory::dieOnNextCall() {
    std::lock_guard<std::mutex> lock(mMutex);
    mDieOnNextCall = true;
}

void FakeSensorFactory::die() {
    // The binder goes first, so a call woken below finds its process gone.
    killBinder(asBinder().get());
    std::lock_guard<std::mutex> lock(mMutex);
    mDead = true;
    mCondition.notify_all();
}

int FakeSensorFactory::callCount() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mCalls;
}

int32_t FakeSensorFactory::lastId() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mLastId;
}

std::array<int32_t, 32> FakeSensorFactory::lastArgs() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mLastArgs;
}

ndk::ScopedAStatus FakeSensorFactory::beginCall(std::unique_lock<std::mutex>& lock, int32_t id,
                                                const std::array<int32_t, 32>& args) {
    ++mCalls;
    mLastId = id;
    mLastArgs = args;
    if (mDieOnNextCall) {
        mDieOnNextCall = false;
        mDead = true;
        lock.unlock();
        killBinder(asBinder().get());
        lock.lock();
    }
    if (mBlock && !mDead) {
        ++mBlocked;
        mCondition.notify_all();
        mCondition.wait(lock, [this] { return !mBlock || mDead; });
        --mBlocked;
    }
    switch (mFailure) {
    case Failure::ServiceSpecific:
        return ndk::ScopedAStatus::fromServiceSpecificError(mFailureCode);
    case Failure::Exception:
        return ndk::ScopedAStatus::fromExceptionCode(mFailureCode);
    case Failure::Status:
        return ndk::ScopedAStatus::fromStatus(mFailureCode);
    case Failure::None:
        break;
    }
    return ndk::ScopedAStatus();
}

ndk::ScopedAStatus FakeSensorFactory::runSensorTest(int32_t id, int32_t arg1, int32_t arg2, int32_t arg3,
                                                    SensorTestResult* result) {
    std::unique_lock<std::mutex> lock(mMutex);
    std::array<int32_t, 32> args{};
    args[0] = arg1;
    args[1] = arg2;
    args[2] = arg3;
    ndk::ScopedAStatus failure = beginCall(lock, id, args);
    if (failure.get() != nullptr) return failure;
    // Echoes the arguments as measurements against a fixed window.
    result->success = mVerdict;
    for (int i = 0; i < 3; ++i) {
        result->testVal[i] = static_cast<float>(args[i]);
        result->defBase[i] = 100.0f;
        result->minBase[i] = 50.0f;
        result->maxBase[i] = 150.0f;
    }
    result->info = {};
    std::snprintf(reinterpret_cast<char*>(result->info.data()), result->info.size(), "fake test 0x%x", id);
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus FakeSensorFactory::runSensorTestV2(int32_t id, const std::array<int32_t, 32>& args,
                                                      SensorTestResultV2* result) {
    std::unique_lock<std::mutex> lock(mMutex);
    ndk::ScopedAStatus failure = beginCall(lock, id, args);
    if (failure.get() != nullptr) return failure;
    result->val = {};
    result->info = {};
    if (id != kCalibrationTest) {
        result->success = kUnknownTest;
        return ndk::ScopedAStatus::ok();
    }
    result->success = mVerdict;
    for (size_t i = 0; i < mCalibration.size(); ++i) result->val[i] = mCalibration[i];
    return ndk::ScopedAStatus::ok();
}

ScopedFakeSensorFactory::ScopedFakeSensorFactory(const FakeSensorFactory::Calibration& calibration)
    : mService(ndk::SharedRefBase::make<FakeSensorFactory>(calibration)) {
    mService->registerAs(kSensorFactoryInstance);
}

ScopedFakeSensorFactory::~ScopedFakeSensorFactory() {
    // A blocked call must not outlive the test that set it up.
    mService->unblock();
    AIBinder* registered = AServiceManager_checkService(kSensorFactoryInstance);
    if (registered != nullptr) {
        ndk::SpAIBinder mine = mService->asBinder();
        if (registered == mine.get()) removeService(kSensorFactoryInstance);
        AIBinder_decStrong(registered);
    }
    waitForDeathNotifications();
}

}  // namespace hostbinder
