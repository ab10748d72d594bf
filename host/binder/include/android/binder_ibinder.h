/*
 * Host build of the binder NDK object API (<android/binder_ibinder.h>).
 *
 * An AIBinder is either a local object (made by AIBinder_new, served in this process) or a proxy
 * for an object of a peer. Both are reference counted: every function that returns an AIBinder*
 * hands the caller one strong reference, released with AIBinder_decStrong.
 */
#pragma once

#include <android/binder_parcel.h>
#include <android/binder_status.h>
#include <stdbool.h>
#include <stdint.h>
#include <sys/cdefs.h>
#include <sys/types.h>

__BEGIN_DECLS

typedef uint32_t transaction_code_t;
typedef uint32_t binder_flags_t;

enum {
    FIRST_CALL_TRANSACTION = 0x00000001,
    LAST_CALL_TRANSACTION = 0x00ffffff,
};

/* The call returns as soon as it is sent; the peer's reply is not awaited. */
enum { FLAG_ONEWAY = 0x01 };

struct AIBinder_Class;
typedef struct AIBinder_Class AIBinder_Class;
struct AIBinder_Weak;
typedef struct AIBinder_Weak AIBinder_Weak;
struct AIBinder_DeathRecipient;
typedef struct AIBinder_DeathRecipient AIBinder_DeathRecipient;

typedef void* (*AIBinder_Class_onCreate)(void* args);
typedef void (*AIBinder_Class_onDestroy)(void* userData);
typedef binder_status_t (*AIBinder_Class_onTransact)(AIBinder* binder, transaction_code_t code,
                                                     const AParcel* in, AParcel* out);
typedef binder_status_t (*AIBinder_onDump)(AIBinder* binder, int fd, const char** args,
                                           uint32_t numArgs);

/*
 * Defines an interface class. The result lives for the whole process. Safe to call during static
 * initialisation. Returns null only when interfaceDescriptor is null.
 */
AIBinder_Class* AIBinder_Class_define(const char* interfaceDescriptor,
                                      AIBinder_Class_onCreate onCreate,
                                      AIBinder_Class_onDestroy onDestroy,
                                      AIBinder_Class_onTransact onTransact);
void AIBinder_Class_setOnDump(AIBinder_Class* clazz, AIBinder_onDump onDump);
const char* AIBinder_Class_getDescriptor(const AIBinder_Class* clazz);

/* A new local object of `clazz`; onCreate(args) gives its user data. */
AIBinder* AIBinder_new(const AIBinder_Class* clazz, void* args);

bool AIBinder_isRemote(const AIBinder* binder);
/* False once the peer serving a proxy has died; always true for a local object. */
bool AIBinder_isAlive(const AIBinder* binder);
binder_status_t AIBinder_ping(AIBinder* binder);
binder_status_t AIBinder_dump(AIBinder* binder, int fd, const char** args, uint32_t numArgs);

/*
 * Death notification. The recipient's callback runs once per link, on a binder thread, when the
 * peer dies; then the on-unlinked callback (if set) runs. Linking a dead proxy gives
 * STATUS_DEAD_OBJECT, a local object STATUS_INVALID_OPERATION.
 */
binder_status_t AIBinder_linkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                     void* cookie);
binder_status_t AIBinder_unlinkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                       void* cookie);

/* Identity of the process that sent the transaction being served on this thread; own ids outside.
 */
uid_t AIBinder_getCallingUid(void);
pid_t AIBinder_getCallingPid(void);

void AIBinder_incStrong(AIBinder* binder);
void AIBinder_decStrong(AIBinder* binder);
int32_t AIBinder_debugGetRefCount(AIBinder* binder);

/*
 * Associates a class with a binder. For a local object this succeeds only for its own class; for a
 * proxy, the peer's descriptor must match (asked once, then remembered).
 */
bool AIBinder_associateClass(AIBinder* binder, const AIBinder_Class* clazz);
const AIBinder_Class* AIBinder_getClass(AIBinder* binder);
/* The user data of a local object; null for a proxy. */
void* AIBinder_getUserData(AIBinder* binder);

/*
 * Creates the parcel for a transaction on `binder`, with the interface token of its class written.
 * The class must have been associated. *in is owned by the caller until passed to transact.
 */
binder_status_t AIBinder_prepareTransaction(AIBinder* binder, AParcel** in);
/*
 * Sends `*in` (taking ownership, *in is set to null) and, unless FLAG_ONEWAY, blocks until the
 * reply arrives in a new parcel stored in *out (owned by the caller).
 */
binder_status_t AIBinder_transact(AIBinder* binder, transaction_code_t code, AParcel** in,
                                  AParcel** out, binder_flags_t flags);

/* Weak references: promote gives a new strong reference, or null once the object is gone. */
AIBinder_Weak* AIBinder_Weak_new(AIBinder* binder);
void AIBinder_Weak_delete(AIBinder_Weak* weakBinder);
AIBinder* AIBinder_Weak_promote(AIBinder_Weak* weakBinder);

typedef void (*AIBinder_DeathRecipient_onBinderDied)(void* cookie);
typedef void (*AIBinder_DeathRecipient_onBinderUnlinked)(void* cookie);

AIBinder_DeathRecipient* AIBinder_DeathRecipient_new(
        AIBinder_DeathRecipient_onBinderDied onBinderDied);
void AIBinder_DeathRecipient_setOnUnlinked(AIBinder_DeathRecipient* recipient,
                                           AIBinder_DeathRecipient_onBinderUnlinked onUnlinked);
/* Unlinks every link made with this recipient. Accepts null. */
void AIBinder_DeathRecipient_delete(AIBinder_DeathRecipient* recipient);

__END_DECLS
