#pragma once

// Host stand-in for the binder NDK's object API. Every binder here is local to
// the process, but clients only ever see it the way they would see a remote
// one: calls go through a transaction, a killed service answers
// STATUS_DEAD_OBJECT, and death recipients run on a separate binder thread.

#include <stdbool.h>
#include <stdint.h>
#include <sys/cdefs.h>

#include <android/binder_status.h>

#pragma GCC visibility push(default)
__BEGIN_DECLS

struct AIBinder;
typedef struct AIBinder AIBinder;
struct AIBinder_Weak;
typedef struct AIBinder_Weak AIBinder_Weak;
struct AIBinder_DeathRecipient;
typedef struct AIBinder_DeathRecipient AIBinder_DeathRecipient;

typedef void (*AIBinder_DeathRecipient_onBinderDied)(void* cookie);

void AIBinder_incStrong(AIBinder* binder);
// Dropping the last strong reference destroys the binder (and its links).
void AIBinder_decStrong(AIBinder* binder);
int32_t AIBinder_debugGetRefCount(AIBinder* binder);
bool AIBinder_isAlive(const AIBinder* binder);
bool AIBinder_isRemote(const AIBinder* binder);
binder_status_t AIBinder_ping(AIBinder* binder);

// STATUS_DEAD_OBJECT when the binder is already dead, STATUS_UNEXPECTED_NULL
// for a null binder or recipient.
binder_status_t AIBinder_linkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                     void* cookie);
// STATUS_NAME_NOT_FOUND when no such link exists.
binder_status_t AIBinder_unlinkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                       void* cookie);

AIBinder_DeathRecipient* AIBinder_DeathRecipient_new(AIBinder_DeathRecipient_onBinderDied onBinderDied);
// Drops every link of the recipient. Returns only once no callback of this
// recipient is running on another thread, so its cookies may be freed after.
void AIBinder_DeathRecipient_delete(AIBinder_DeathRecipient* recipient);

AIBinder_Weak* AIBinder_Weak_new(AIBinder* binder);
void AIBinder_Weak_delete(AIBinder_Weak* weakBinder);
// A new strong reference, or null once the binder has been destroyed.
AIBinder* AIBinder_Weak_promote(AIBinder_Weak* weakBinder);

__END_DECLS
#pragma GCC visibility pop
