#pragma once

// The namespace client's cached connection to the resource-control service (its state is in
// ClientGlobals.h). Internal to the library: nothing here is exported.

#include <android/binder_auto_utils.h>

#include "ClientGlobals.h"

namespace jorvHalclient {

// Makes sure g_jorv_hal is set when the service can be reached; waits for a declared service to be
// published. Must be called without g_jorv_hal_mutex held.
void get_jorv_hal_and_link_to_death() EXCLUDES(g_jorv_hal_mutex);

// Examines the status of a finished service call (made with the shared hold, already released).
// A null or failed status is logged with `name` and drops the connection so that the next call
// reconnects. Returns whether the call succeeded.
bool checkJorvStatus(const ndk::ScopedAStatus& status, const char* name) EXCLUDES(g_jorv_hal_mutex);

}  // namespace jorvHalclient
