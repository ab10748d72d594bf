#pragma once

// The namespace client's cached connection to the resource-control service. Internal to the
// library: nothing here is exported.

#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <android/binder_auto_utils.h>
#include <android/binder_ibinder.h>

#include <memory>

#include "ServiceLink.h"
#include "ThreadAnnotations.h"

namespace jorvHalclient {

using ::aidl::vendor::vemra::hardware::jorv::IJorv;

using ::qar::kJorvInstance;

// Held shared across every service call, exclusively only to set or clear g_jorv_hal.
extern qar::SharedTimedMutex g_jorv_hal_mutex;
extern std::shared_ptr<IJorv> g_jorv_hal GUARDED_BY(g_jorv_hal_mutex);
extern AIBinder_DeathRecipient* g_jorv_death_recipient GUARDED_BY(g_jorv_hal_mutex);

// Makes sure g_jorv_hal is set when the service can be reached; waits for a declared service to be
// published. Must be called without g_jorv_hal_mutex held.
void get_jorv_hal_and_link_to_death() EXCLUDES(g_jorv_hal_mutex);

// Examines the status of a finished service call (made with the shared hold, already released).
// A null or failed status is logged with `name` and drops the connection so that the next call
// reconnects. Returns whether the call succeeded.
bool checkJorvStatus(const ndk::ScopedAStatus& status, const char* name) EXCLUDES(g_jorv_hal_mutex);

// Forgets the connection (exclusive hold).
void dropJorvHal() EXCLUDES(g_jorv_hal_mutex);

}  // namespace jorvHalclient
