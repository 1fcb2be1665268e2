#pragma once

// Host-only side of the binder emulation: what the generated interface code
// needs to reach a service object, and the controls a test or a demo uses to
// play the service's process (unregister it, kill it, wait for the death
// notifications to be delivered). Nothing here exists on a device.

#include <android/binder_auto_utils.h>
#include <android/binder_ibinder.h>
#include <android/binder_interface_utils.h>

#include <cstddef>
#include <functional>
#include <memory>

#pragma GCC visibility push(default)

namespace hostbinder {

// A new binder (one strong reference, owned by the caller) for a service
// object implementing `descriptor`. The binder keeps the object alive until
// the binder is destroyed or killed.
AIBinder* newBinder(const char* descriptor, std::shared_ptr<ndk::ICInterface> service);

// Whether `binder` serves the interface `descriptor`.
bool implements(const AIBinder* binder, const char* descriptor);

// One transaction: runs `call` on the service object while its process lives.
// Returns STATUS_DEAD_OBJECT (and discards whatever the call produced) when
// the service was dead before the call or died during it; otherwise
// STATUS_OK with the service's own status in `reply`. The call runs on the
// caller's thread and blocks it for as long as the service takes.
binder_status_t transact(AIBinder* binder,
                         const std::function<ndk::ScopedAStatus(ndk::ICInterface&)>& call,
                         ndk::ScopedAStatus* reply);

// Unregisters `instance` without killing its service (clients that already
// hold it keep working). False when nothing was registered under that name.
bool removeService(const char* instance);

// The service's process dies: the binder is marked dead, removed from the
// service manager, drops its service object, and every death recipient linked
// to it is queued for the binder thread. Safe to call from the service's own
// transaction. Calling it on a dead binder does nothing.
void killBinder(AIBinder* binder);

// Blocks until every death notification queued so far has run.
void waitForDeathNotifications();

// Binders not yet destroyed (leak checks).
std::size_t liveBinderCount();

}  // namespace hostbinder

#pragma GCC visibility pop
