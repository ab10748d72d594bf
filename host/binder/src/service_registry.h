// Services this process publishes: a listening socket per instance, a listener thread accepting
// clients, and a server-side connection per client.
#pragma once

#include <android/binder_ibinder.h>
#include <android/binder_status.h>

namespace hostbinder {

// Publishes `binder` under `instance` in the current service directory (replacing an earlier
// publication of the same instance by this process, and any socket file left at the path).
binder_exception_t publishService(AIBinder* binder, const char* instance);

// Closes the instance's socket and every connection accepted on it, and releases the object.
// STATUS_NAME_NOT_FOUND when this process does not publish `instance`.
binder_status_t killService(const char* instance);

}  // namespace hostbinder
