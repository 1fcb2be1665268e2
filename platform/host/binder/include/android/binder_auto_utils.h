#pragma once

// Host stand-in for the binder NDK's C++ owners of binders and statuses.

#include <android/binder_ibinder.h>
#include <android/binder_status.h>

#include <utility>

namespace ndk {

// Owns one strong reference of a binder.
class SpAIBinder {
public:
    SpAIBinder() = default;
    // Adopts a reference the caller already holds.
    explicit SpAIBinder(AIBinder* binder) : mBinder(binder) {}
    SpAIBinder(std::nullptr_t) : SpAIBinder() {}
    SpAIBinder(const SpAIBinder& other) : mBinder(other.mBinder) {
        if (mBinder != nullptr) AIBinder_incStrong(mBinder);
    }
    SpAIBinder(SpAIBinder&& other) noexcept : mBinder(other.release()) {}
    SpAIBinder& operator=(SpAIBinder other) {
        std::swap(mBinder, other.mBinder);
        return *this;
    }
    ~SpAIBinder() { set(nullptr); }

    AIBinder* get() const { return mBinder; }
    AIBinder* release() { return std::exchange(mBinder, nullptr); }
    // Drops the held reference and adopts `binder`.
    void set(AIBinder* binder) {
        AIBinder* old = std::exchange(mBinder, binder);
        if (old != nullptr) AIBinder_decStrong(old);
    }
    bool operator==(const SpAIBinder& rhs) const { return mBinder == rhs.mBinder; }
    bool operator!=(const SpAIBinder& rhs) const { return mBinder != rhs.mBinder; }

private:
    AIBinder* mBinder = nullptr;
};

// Owns an AStatus; a null one reads as OK.
class ScopedAStatus {
public:
    ScopedAStatus() = default;
    explicit ScopedAStatus(AStatus* status) : mStatus(status) {}
    ScopedAStatus(ScopedAStatus&& other) noexcept : mStatus(other.release()) {}
    ScopedAStatus& operator=(ScopedAStatus&& other) noexcept {
        set(other.release());
        return *this;
    }
    ScopedAStatus(const ScopedAStatus&) = delete;
    ScopedAStatus& operator=(const ScopedAStatus&) = delete;
    ~ScopedAStatus() { set(nullptr); }

    AStatus* get() const { return mStatus; }
    AStatus* release() { return std::exchange(mStatus, nullptr); }
    void set(AStatus* status) {
        AStatus* old = std::exchange(mStatus, status);
        if (old != nullptr) AStatus_delete(old);
    }

    bool isOk() const { return mStatus == nullptr || AStatus_isOk(mStatus); }
    binder_exception_t getExceptionCode() const {
        return mStatus == nullptr ? EX_NONE : AStatus_getExceptionCode(mStatus);
    }
    int32_t getServiceSpecificError() const {
        return mStatus == nullptr ? 0 : AStatus_getServiceSpecificError(mStatus);
    }
    binder_status_t getStatus() const {
        return mStatus == nullptr ? STATUS_OK : AStatus_getStatus(mStatus);
    }
    const char* getMessage() const { return mStatus == nullptr ? "" : AStatus_getMessage(mStatus); }

    static ScopedAStatus ok() { return ScopedAStatus(AStatus_newOk()); }
    static ScopedAStatus fromStatus(binder_status_t status) {
        return ScopedAStatus(AStatus_fromStatus(status));
    }
    static ScopedAStatus fromExceptionCode(binder_exception_t exception) {
        return ScopedAStatus(AStatus_fromExceptionCode(exception));
    }
    static ScopedAStatus fromExceptionCodeWithMessage(binder_exception_t exception,
                                                      const char* message) {
        return ScopedAStatus(AStatus_fromExceptionCodeWithMessage(exception, message));
    }
    static ScopedAStatus fromServiceSpecificError(int32_t code) {
        return ScopedAStatus(AStatus_fromServiceSpecificError(code));
    }
    static ScopedAStatus fromServiceSpecificErrorWithMessage(int32_t code, const char* message) {
        return ScopedAStatus(AStatus_fromServiceSpecificErrorWithMessage(code, message));
    }

private:
    AStatus* mStatus = nullptr;
};

}  // namespace ndk
