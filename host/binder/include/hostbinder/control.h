/*
 * Host-only control of the binder runtime. Not part of the NDK: device code never includes this.
 *
 * Services are published as Unix-domain sockets in the service directory. The directory is, in
 * order of precedence: the one set with HostBinder_setServiceDir, $HOSTBINDER_DIR, or
 * /tmp/hostbinder-<uid>. It is created on first publication (or HostBinder_listInManifest) with
 * mode 0700, missing parents too.
 *
 * Whoever can write the directory can replace a service's socket with their own and answer its
 * clients, so a process uses only a directory that is a real directory (a symlink is judged as
 * itself, not by its target), owned by its effective uid, with no access for group or others.
 * Any other is refused, with an error logged once naming the path, what was found and the way
 * out: publishing fails, look-ups find nothing, AServiceManager_isDeclared reads no manifest and
 * HostBinder_listInManifest returns EPERM. Nothing falls back to another directory. Only the
 * directory itself is checked, not its parents. Sockets and the manifest get mode 0600.
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

/*
 * Shares the service directory with its group (true) or keeps it private (false, the default).
 * Once called it overrides the environment, where HOSTBINDER_DIR_SHARED=1 asks for the same.
 *
 * Sharing means trusting the group: every user who can write the directory can replace or
 * impersonate the services in it, and read or plant what their clients send. Only share a
 * directory whose group you trust as yourself, e.g. one owned by that group with mode 2770.
 * A shared directory may have any owner and group access, but it must still be a real directory,
 * not a symlink, with no access for others. A missing one is created with mode 0770; sockets and
 * the manifest this process creates get mode 0660, so that the group can connect and read.
 */
void HostBinder_setServiceDirShared(bool shared);

/* Declares or undeclares an instance for AServiceManager_isDeclared in this process only. */
void HostBinder_declareInstance(const char* instance);
void HostBinder_undeclareInstance(const char* instance);

/*
 * Declares an instance for every process that uses the service directory: adds it as a line of
 * the directory's manifest (creating the directory and the file as needed) unless it is listed
 * already. Returns 0, or an errno value (EPERM when the directory is refused, see above).
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
