// In-process emulation of the binder NDK calls the library and its tests use.
//
// One global mutex guards the whole emulation state (reference counts, links,
// the service table, the notification queue); it is never held while service
// code, a death callback or a service object's destructor runs.

#include "platform/host/binder/HostBinder.h"

#include <android/binder_manager.h>
#include <android/binder_status.h>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

struct AStatus {
    binder_exception_t exception = EX_NONE;
    int32_t serviceSpecific = 0;
    binder_status_t status = STATUS_OK;
    std::string message;
};

struct AIBinder_DeathRecipient {
    AIBinder_DeathRecipient_onBinderDied onBinderDied;
};

struct AIBinder {
    std::string descriptor;
    std::shared_ptr<ndk::ICInterface> service;  // dropped when the process dies
    int32_t strong = 1;
    int32_t weak = 0;
    bool alive = true;
    bool destroyed = false;
    std::vector<std::pair<AIBinder_DeathRecipient*, void*>> links;
};

struct AIBinder_Weak {
    AIBinder* binder;
};

namespace {

struct Notification {
    AIBinder_DeathRecipient* recipient;
    void* cookie;
};

// Delivers death notifications on a thread of its own, as a device's binder
// thread pool does. Started on first use, joined when the process exits.
class BinderThread {
public:
    ~BinderThread() {
        std::unique_lock<std::mutex> lock(mutex);
        stopping = true;
        wake.notify_all();
        lock.unlock();
        if (thread.joinable()) thread.join();
    }

    // Callers hold `mutex`.
    void post(const Notification& n) {
        queue.push_back(n);
        if (!thread.joinable()) thread = std::thread([this] { run(); });
        wake.notify_all();
    }

    std::mutex mutex;  // the emulation's one lock
    std::condition_variable wake;
    std::condition_variable idle;
    std::deque<Notification> queue;
    AIBinder_DeathRecipient* running = nullptr;
    std::thread::id threadId;
    std::set<AIBinder*> binders;
    std::map<std::string, AIBinder*> services;

private:
    void run() {
        std::unique_lock<std::mutex> lock(mutex);
        threadId = std::this_thread::get_id();
        for (;;) {
            wake.wait(lock, [this] { return stopping || !queue.empty(); });
            if (queue.empty()) return;
            Notification n = queue.front();
            queue.pop_front();
            AIBinder_DeathRecipient_onBinderDied callback = n.recipient->onBinderDied;
            running = n.recipient;
            lock.unlock();
            callback(n.cookie);
            lock.lock();
            running = nullptr;
            idle.notify_all();
        }
    }

    std::thread thread;
    bool stopping = false;
};

BinderThread& state() {
    static BinderThread instance;
    return instance;
}

AStatus* makeStatus(binder_exception_t exception, int32_t serviceSpecific, binder_status_t status,
                    const char* message) {
    AStatus* s = new AStatus;
    s->exception = exception;
    s->serviceSpecific = serviceSpecific;
    s->status = status;
    if (message != nullptr) s->message = message;
    return s;
}

// Called with the lock held once the last strong reference is gone; returns
// the service object so that it is released after the lock.
std::shared_ptr<ndk::ICInterface> destroyLocked(AIBinder* binder) {
    BinderThread& st = state();
    binder->destroyed = true;
    binder->links.clear();
    st.binders.erase(binder);
    std::shared_ptr<ndk::ICInterface> service = std::move(binder->service);
    if (binder->weak == 0) delete binder;
    return service;
}

}  // namespace

// ---- statuses ---------------------------------------------------------------

AStatus* AStatus_newOk(void) { return makeStatus(EX_NONE, 0, STATUS_OK, nullptr); }

AStatus* AStatus_fromExceptionCode(binder_exception_t exception) {
    return AStatus_fromExceptionCodeWithMessage(exception, nullptr);
}

AStatus* AStatus_fromExceptionCodeWithMessage(binder_exception_t exception, const char* message) {
    binder_status_t status = exception == EX_TRANSACTION_FAILED ? STATUS_FAILED_TRANSACTION : STATUS_OK;
    return makeStatus(exception, 0, status, message);
}

AStatus* AStatus_fromServiceSpecificError(int32_t serviceSpecific) {
    return AStatus_fromServiceSpecificErrorWithMessage(serviceSpecific, nullptr);
}

AStatus* AStatus_fromServiceSpecificErrorWithMessage(int32_t serviceSpecific, const char* message) {
    return makeStatus(EX_SERVICE_SPECIFIC, serviceSpecific, STATUS_OK, message);
}

AStatus* AStatus_fromStatus(binder_status_t status) {
    if (status == STATUS_OK) return AStatus_newOk();
    return makeStatus(EX_TRANSACTION_FAILED, 0, status, nullptr);
}

bool AStatus_isOk(const AStatus* status) { return status->exception == EX_NONE; }
binder_exception_t AStatus_getExceptionCode(const AStatus* status) { return status->exception; }
int32_t AStatus_getServiceSpecificError(const AStatus* status) {
    return status->exception == EX_SERVICE_SPECIFIC ? status->serviceSpecific : 0;
}
binder_status_t AStatus_getStatus(const AStatus* status) {
    return status->exception == EX_TRANSACTION_FAILED ? status->status : STATUS_OK;
}
const char* AStatus_getMessage(const AStatus* status) { return status->message.c_str(); }
void AStatus_delete(AStatus* status) { delete status; }

// ---- binders ----------------------------------------------------------------

void AIBinder_incStrong(AIBinder* binder) {
    if (binder == nullptr) return;
    std::lock_guard<std::mutex> lock(state().mutex);
    ++binder->strong;
}

void AIBinder_decStrong(AIBinder* binder) {
    if (binder == nullptr) return;
    std::shared_ptr<ndk::ICInterface> released;
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        if (--binder->strong == 0) released = destroyLocked(binder);
    }
}

int32_t AIBinder_debugGetRefCount(AIBinder* binder) {
    if (binder == nullptr) return -1;
    std::lock_guard<std::mutex> lock(state().mutex);
    return binder->strong;
}

bool AIBinder_isAlive(const AIBinder* binder) {
    std::lock_guard<std::mutex> lock(state().mutex);
    return binder != nullptr && binder->alive;
}

// Every service stands for another process, whatever its address here.
bool AIBinder_isRemote(const AIBinder* binder) { return binder != nullptr; }

binder_status_t AIBinder_ping(AIBinder* binder) {
    return AIBinder_isAlive(binder) ? STATUS_OK : STATUS_DEAD_OBJECT;
}

binder_status_t AIBinder_linkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient, void* cookie) {
    if (binder == nullptr || recipient == nullptr) return STATUS_UNEXPECTED_NULL;
    std::lock_guard<std::mutex> lock(state().mutex);
    if (!binder->alive) return STATUS_DEAD_OBJECT;
    binder->links.emplace_back(recipient, cookie);
    return STATUS_OK;
}

binder_status_t AIBinder_unlinkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient, void* cookie) {
    if (binder == nullptr || recipient == nullptr) return STATUS_UNEXPECTED_NULL;
    std::lock_guard<std::mutex> lock(state().mutex);
    auto& links = binder->links;
    auto it = std::find(links.begin(), links.end(), std::make_pair(recipient, cookie));
    if (it == links.end()) return STATUS_NAME_NOT_FOUND;
    links.erase(it);
    return STATUS_OK;
}

AIBinder_DeathRecipient* AIBinder_DeathRecipient_new(AIBinder_DeathRecipient_onBinderDied onBinderDied) {
    if (onBinderDied == nullptr) return nullptr;
    return new AIBinder_DeathRecipient{onBinderDied};
}

void AIBinder_DeathRecipient_delete(AIBinder_DeathRecipient* recipient) {
    if (recipient == nullptr) return;
    BinderThread& st = state();
    std::unique_lock<std::mutex> lock(st.mutex);
    for (AIBinder* binder : st.binders) {
        auto& links = binder->links;
        links.erase(std::remove_if(links.begin(), links.end(),
                                   [recipient](const auto& l) { return l.first == recipient; }),
                    links.end());
    }
    st.queue.erase(std::remove_if(st.queue.begin(), st.queue.end(),
                                  [recipient](const Notification& n) { return n.recipient == recipient; }),
                   st.queue.end());
    // A callback of this recipient may be running right now; its cookie must
    // outlive it. From inside that callback there is nothing to wait for.
    if (std::this_thread::get_id() != st.threadId) {
        st.idle.wait(lock, [&] { return st.running != recipient; });
    }
    delete recipient;
}

AIBinder_Weak* AIBinder_Weak_new(AIBinder* binder) {
    if (binder == nullptr) return nullptr;
    std::lock_guard<std::mutex> lock(state().mutex);
    ++binder->weak;
    return new AIBinder_Weak{binder};
}

void AIBinder_Weak_delete(AIBinder_Weak* weakBinder) {
    if (weakBinder == nullptr) return;
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        AIBinder* binder = weakBinder->binder;
        if (--binder->weak == 0 && binder->destroyed) delete binder;
    }
    delete weakBinder;
}

AIBinder* AIBinder_Weak_promote(AIBinder_Weak* weakBinder) {
    if (weakBinder == nullptr) return nullptr;
    std::lock_guard<std::mutex> lock(state().mutex);
    AIBinder* binder = weakBinder->binder;
    if (binder->destroyed) return nullptr;
    ++binder->strong;
    return binder;
}

// ---- service manager --------------------------------------------------------

binder_exception_t AServiceManager_addService(AIBinder* binder, const char* instance) {
    if (binder == nullptr || instance == nullptr) return EX_ILLEGAL_ARGUMENT;
    AIBinder* replaced = nullptr;
    {
        BinderThread& st = state();
        std::lock_guard<std::mutex> lock(st.mutex);
        if (!binder->alive) return EX_ILLEGAL_ARGUMENT;
        ++binder->strong;
        AIBinder*& slot = st.services[instance];
        replaced = std::exchange(slot, binder);
    }
    AIBinder_decStrong(replaced);
    return EX_NONE;
}

AIBinder* AServiceManager_checkService(const char* instance) {
    if (instance == nullptr) return nullptr;
    BinderThread& st = state();
    std::lock_guard<std::mutex> lock(st.mutex);
    auto it = st.services.find(instance);
    if (it == st.services.end()) return nullptr;
    ++it->second->strong;
    return it->second;
}

AIBinder* AServiceManager_getService(const char* instance) { return AServiceManager_checkService(instance); }

bool AServiceManager_isDeclared(const char* instance) {
    AIBinder* binder = AServiceManager_checkService(instance);
    AIBinder_decStrong(binder);
    return binder != nullptr;
}

// ---- host controls ----------------------------------------------------------

namespace hostbinder {

AIBinder* newBinder(const char* descriptor, std::shared_ptr<ndk::ICInterface> service) {
    AIBinder* binder = new AIBinder;
    binder->descriptor = descriptor;
    binder->service = std::move(service);
    std::lock_guard<std::mutex> lock(state().mutex);
    state().binders.insert(binder);
    return binder;
}

bool implements(const AIBinder* binder, const char* descriptor) {
    return binder != nullptr && descriptor != nullptr && binder->descriptor == descriptor;
}

binder_status_t transact(AIBinder* binder,
                         const std::function<ndk::ScopedAStatus(ndk::ICInterface&)>& call,
                         ndk::ScopedAStatus* reply) {
    if (binder == nullptr) return STATUS_UNEXPECTED_NULL;
    std::shared_ptr<ndk::ICInterface> service;
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        if (!binder->alive) return STATUS_DEAD_OBJECT;
        service = binder->service;
    }
    ndk::ScopedAStatus status = call(*service);
    bool alive;
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        alive = binder->alive;
    }
    // A process that died before replying sends no reply.
    if (!alive) return STATUS_DEAD_OBJECT;
    *reply = std::move(status);
    return STATUS_OK;
}

bool removeService(const char* instance) {
    if (instance == nullptr) return false;
    AIBinder* removed = nullptr;
    {
        BinderThread& st = state();
        std::lock_guard<std::mutex> lock(st.mutex);
        auto it = st.services.find(instance);
        if (it == st.services.end()) return false;
        removed = it->second;
        st.services.erase(it);
    }
    AIBinder_decStrong(removed);
    return true;
}

void killBinder(AIBinder* binder) {
    if (binder == nullptr) return;
    std::shared_ptr<ndk::ICInterface> service;
    std::vector<AIBinder*> unregistered;
    {
        BinderThread& st = state();
        std::lock_guard<std::mutex> lock(st.mutex);
        if (!binder->alive) return;
        binder->alive = false;
        service = std::move(binder->service);
        for (const auto& link : binder->links) st.post(Notification{link.first, link.second});
        binder->links.clear();
        for (auto it = st.services.begin(); it != st.services.end();) {
            if (it->second == binder) {
                unregistered.push_back(binder);
                it = st.services.erase(it);
            } else {
                ++it;
            }
        }
    }
    for (AIBinder* b : unregistered) AIBinder_decStrong(b);
}

void waitForDeathNotifications() {
    BinderThread& st = state();
    std::unique_lock<std::mutex> lock(st.mutex);
    if (std::this_thread::get_id() == st.threadId) return;
    st.idle.wait(lock, [&] { return st.queue.empty() && st.running == nullptr; });
}

std::size_t liveBinderCount() {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().binders.size();
}

}  // namespace hostbinder
