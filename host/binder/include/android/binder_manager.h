/*
 * Host build of the binder NDK service manager (<android/binder_manager.h>).
 *
 * On the host a published service is a Unix-domain socket in the service directory
 * ($HOSTBINDER_DIR, default /tmp/hostbinder-<uid>); see <hostbinder/control.h>.
 */
#pragma once

#include <android/binder_ibinder.h>
#include <android/binder_status.h>
#include <stdbool.h>
#include <sys/cdefs.h>

__BEGIN_DECLS

/* Publishes `binder` under `instance`; replaces a socket left behind by a dead process. */
binder_exception_t AServiceManager_addService(AIBinder* binder, const char* instance);
/* Never waits: a proxy (caller owns one strong ref) or null when the service is not running. */
AIBinder* AServiceManager_checkService(const char* instance);
/* Waits a few seconds for the service to appear, then gives up with null. */
AIBinder* AServiceManager_getService(const char* instance);
/* Blocks until the service is published; never returns null for a valid name. */
AIBinder* AServiceManager_waitForService(const char* instance);
/* True when the instance is listed in $HOSTBINDER_DIR/manifest or declared by the control API. */
bool AServiceManager_isDeclared(const char* instance);

__END_DECLS
