#pragma once

// The namespace client's process-wide state: its connection to the service and the two callback
// registries. Internal, except request_callbacks and its mutex (JorvCallbackRegistry.h). All are
// defined in ClientGlobals.cpp, which fixes the order of their initialisation.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "JorvCallbackRegistry.h"
#include "common/ServiceLink.h"
#include "common/ThreadAnnotations.h"

namespace jorvHalclient {

using ::qar::IJorv;

// One open listening: what it listens to (ids, or paths for a listening by path), the service's
// handle, and the callback object the service was given.
struct JorvCallbackGroup {
    std::vector<int32_t> ids;
    std::vector<std::string> paths;
    int handle = -1;
    std::shared_ptr<JorvCallbackClient> client;
};

// Lock order: g_jorv_hal_mutex (shared) first, then either registry's mutex. Neither registry
// mutex is ever held while waiting for g_jorv_hal_mutex, shared or exclusive.
extern qar::Mutex listening_callback_mutex;
extern std::vector<JorvCallbackGroup> listening_callbacks GUARDED_BY(listening_callback_mutex);

// The connection. g_jorv_hal_mutex is held shared across every service call, exclusively only to
// set or clear g_jorv_hal.
extern qar::SharedTimedMutex g_jorv_hal_mutex;
extern std::shared_ptr<IJorv> g_jorv_hal GUARDED_BY(g_jorv_hal_mutex);
extern AIBinder_DeathRecipient* g_jorv_death_recipient GUARDED_BY(g_jorv_hal_mutex);

// request_callback_mutex and request_callbacks are declared by JorvCallbackRegistry.h. The mutex is
// exported as a plain std::mutex, which the thread-safety analysis cannot see; this stand-in
// capability (CallbackRegistries.h) takes its place in the annotations.
class CAPABILITY("mutex") RequestCallbacksCapability {};
extern RequestCallbacksCapability gRequestCallbacksCapability;

}  // namespace jorvHalclient
