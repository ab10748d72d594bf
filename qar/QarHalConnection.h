#pragma once

// The event API's cached connection to the resource-control service. It is separate from the
// jorvHalclient connection: either can be dropped and re-made without touching the other.
// Internal to the library: nothing here is exported.

#include <android/binder_auto_utils.h>

#include <memory>

#include "common/ServiceLink.h"
#include "common/ThreadAnnotations.h"

namespace qarEvent {

using ::qar::IJorv;

// Held shared across every service call, exclusively only to set or clear g_qar_hal.
extern qar::SharedTimedMutex g_qar_hal_mutex;
extern std::shared_ptr<IJorv> g_qar_hal GUARDED_BY(g_qar_hal_mutex);
extern AIBinder_DeathRecipient* g_qar_death_recipient GUARDED_BY(g_qar_hal_mutex);

// Makes sure g_qar_hal is set. Looks the service up without waiting for it. Returns 0 when
// connected on return, -1 otherwise (logged). Must be called without g_qar_hal_mutex held.
int qar_get_jorv_hal_and_link_to_death() EXCLUDES(g_qar_hal_mutex);

// qar_get_jorv_hal_and_link_to_death(), logging a failure the way every entry point reports it.
// Returns whether the service is connected.
bool connectQarHal() EXCLUDES(g_qar_hal_mutex);

// Examines the status of a finished service call (made with the shared hold, already released).
// A null or failed status is logged with `name` and drops the connection, so that the next call
// reconnects. Returns whether the call succeeded.
bool checkQarStatus(const ndk::ScopedAStatus& status, const char* name) EXCLUDES(g_qar_hal_mutex);

}  // namespace qarEvent
