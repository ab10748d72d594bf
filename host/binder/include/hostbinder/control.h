/*
 * Host-only control of the binder runtime. Not part of the NDK: device code never includes this.
 *
 * Services are published as Unix-domain sockets in the service directory. The directory is, in
 * order of precedence: the one set with HostBinder_setServiceDir, $HOSTBINDER_DIR, or
 * /tmp/hostbinder-<uid>. It is created on first use.
 */
#pragma once

#include <android/binder_status.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/cdefs.h>

__BEGIN_DECLS

/* Chooses the service directory for this process (later look-ups and publications use it). */
void HostBinder_setServiceDir(const char* dir);
/* Copies the service directory into buf (NUL-terminated, truncated to size); returns its length. */
size_t HostBinder_getServiceDir(char* buf, size_t size);

/* Declares or undeclares an instance for AServiceManager_isDeclared in this process only. */
void HostBinder_declareInstance(const char* instance);
void HostBinder_undeclareInstance(const char* instance);

/*
 * Declares an instance for every process that uses the service directory: adds it as a line of
 * the directory's manifest (creating the directory and the file as needed) unless it is listed
 * already. Returns 0, or an errno value.
 */
int HostBinder_listInManifest(const char* instance);

/*
 * Makes a service published by this process die for its clients: closes its socket and every
 * connection to it, so that their proxies die. The local object is released by the runtime; it can
 * be published again with AServiceManager_addService. Returns STATUS_NAME_NOT_FOUND when this
 * process does not publish `instance`.
 */
binder_status_t HostBinder_killService(const char* instance);

/*
 * Each process has a receive buffer, as a device's binder gives every process that opens the
 * driver: HOSTBINDER_RECEIVE_BUFFER_SIZE bytes (1 MB less two pages). Every transaction and reply
 * this process receives occupies align8(data size) + 8 * (binder objects) bytes of it from its
 * arrival until its parcel is freed (a transaction's when the handler returns, a reply's when the
 * caller deletes it). One that does not fit in what is free fails at its sender with
 * STATUS_FAILED_TRANSACTION; one-way transactions may together occupy at most half the buffer.
 */
#define HOSTBINDER_RECEIVE_BUFFER_SIZE ((size_t)(1024 * 1024 - 2 * 4096))

/*
 * Sets this process's receive buffer size in bytes (0 restores HOSTBINDER_RECEIVE_BUFFER_SIZE);
 * tests lower it to reach its limits with small parcels. Parcels already received keep their
 * space. Returns the previous size.
 */
size_t HostBinder_setReceiveBufferSize(size_t bytes);
/* Bytes of this process's receive buffer occupied right now. */
size_t HostBinder_getReceiveBufferInUse(void);

/* How many times this process has called each service-manager function (atomically counted). */
struct HostBinderLookupCounts {
    uint64_t isDeclared;
    uint64_t checkService;
    uint64_t getService;
    uint64_t waitForService;
    uint64_t addService;
};
void HostBinder_getLookupCounts(struct HostBinderLookupCounts* out);

__END_DECLS
