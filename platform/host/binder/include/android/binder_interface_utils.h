#pragma once

// Host stand-in for the binder NDK's C++ interface bases, in the shape the
// AIDL NDK backend builds on: SharedRefBase, ICInterface, BnCInterface,
// BpCInterface.

#include <android/binder_auto_utils.h>
#include <android/binder_ibinder.h>

#include <memory>
#include <mutex>

#pragma GCC visibility push(default)

namespace ndk {

// Objects that are only ever held by shared_ptr and can hand one out to
// themselves (a service needs one to its own binder's user data).
class SharedRefBase {
public:
    SharedRefBase() = default;
    virtual ~SharedRefBase() = default;
    SharedRefBase(const SharedRefBase&) = delete;
    SharedRefBase& operator=(const SharedRefBase&) = delete;

    template <class T>
    std::shared_ptr<T> ref() {
        return std::static_pointer_cast<T>(mThis.lock());
    }
    template <class T, class... Args>
    static std::shared_ptr<T> make(Args&&... args) {
        std::shared_ptr<T> made(new T(std::forward<Args>(args)...));
        static_cast<SharedRefBase*>(made.get())->mThis = made;
        return made;
    }

private:
    std::weak_ptr<SharedRefBase> mThis;
};

class ICInterface : public SharedRefBase {
public:
    virtual SpAIBinder asBinder() = 0;
    virtual bool isRemote() = 0;
};

// Server side: owns its binder weakly, so the binder (held by the service
// manager and by clients) is what keeps the service object alive.
template <typename INTERFACE>
class BnCInterface : public INTERFACE {
public:
    ~BnCInterface() override {
        if (mWeakBinder != nullptr) AIBinder_Weak_delete(mWeakBinder);
    }
    SpAIBinder asBinder() override {
        std::lock_guard<std::mutex> lock(mMutex);
        SpAIBinder binder;
        if (mWeakBinder != nullptr) binder.set(AIBinder_Weak_promote(mWeakBinder));
        if (binder.get() == nullptr) {
            binder = createBinder();
            if (mWeakBinder != nullptr) AIBinder_Weak_delete(mWeakBinder);
            mWeakBinder = AIBinder_Weak_new(binder.get());
        }
        return binder;
    }
    bool isRemote() override { return false; }

protected:
    virtual SpAIBinder createBinder() = 0;

private:
    std::mutex mMutex;
    AIBinder_Weak* mWeakBinder = nullptr;
};

// Client side: a proxy holding a strong reference to the service's binder.
template <typename INTERFACE>
class BpCInterface : public INTERFACE {
public:
    explicit BpCInterface(const SpAIBinder& binder) : mBinder(binder) {}
    SpAIBinder asBinder() override { return mBinder; }
    bool isRemote() override { return true; }

private:
    SpAIBinder mBinder;
};

}  // namespace ndk

#pragma GCC visibility pop
