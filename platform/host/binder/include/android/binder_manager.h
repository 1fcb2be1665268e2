#pragma once

// Host stand-in for the binder NDK's service manager: one in-process table of
// instance names. Host-only controls (unregistering, killing) are in
// platform/host/binder/HostBinder.h.

#include <sys/cdefs.h>

#include <android/binder_ibinder.h>
#include <android/binder_status.h>

#pragma GCC visibility push(default)
__BEGIN_DECLS

// Registers (or replaces) `instance`; the manager keeps a strong reference.
// EX_ILLEGAL_ARGUMENT for a null binder or name, or a dead binder.
binder_exception_t AServiceManager_addService(AIBinder* binder, const char* instance);
// Does not wait. A new strong reference the caller must drop, or null.
AIBinder* AServiceManager_checkService(const char* instance);
// Alias of checkService on the host: nothing starts services lazily here.
AIBinder* AServiceManager_getService(const char* instance);
bool AServiceManager_isDeclared(const char* instance);

__END_DECLS
#pragma GCC visibility pop
