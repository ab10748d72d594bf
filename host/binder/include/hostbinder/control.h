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
