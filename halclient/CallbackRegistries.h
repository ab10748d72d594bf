#pragma once

// The process-wide registries of callback objects. Internal; request_callbacks and its mutex are
// also exported (JorvCallbackRegistry.h).

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "JorvCallbackClient.h"
#include "JorvCallbackRegistry.h"
#include "ThreadAnnotations.h"

namespace jorvHalclient {

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

// request_callback_mutex is exported as a plain std::mutex, which the thread-safety analysis
// cannot see. The library locks it through RequestCallbacksLock and reaches the vector only through
// requestCallbacks(), both tied to this stand-in capability, so every access is still checked.
class CAPABILITY("mutex") RequestCallbacksCapability {};
extern RequestCallbacksCapability gRequestCallbacksCapability;

class SCOPED_CAPABILITY RequestCallbacksLock {
public:
    RequestCallbacksLock() ACQUIRE(gRequestCallbacksCapability) { request_callback_mutex.lock(); }
    ~RequestCallbacksLock() RELEASE() { request_callback_mutex.unlock(); }
    RequestCallbacksLock(const RequestCallbacksLock&) = delete;
    RequestCallbacksLock& operator=(const RequestCallbacksLock&) = delete;
};

inline std::vector<std::shared_ptr<JorvCallbackClient>>& requestCallbacks()
        REQUIRES(gRequestCallbacksCapability) {
    return request_callbacks;
}

// Makes the one-shot callback object of a request, logs `addedLine` and keeps the object in
// request_callbacks until the service calls it. Called with g_jorv_hal_mutex held shared.
std::shared_ptr<JorvCallbackClient> addRequestCallback(
        const std::shared_ptr<IClientCallback>& callback, const char* addedLine);
std::shared_ptr<JorvCallbackClient> addRequestCallback(
        const std::shared_ptr<IClientCallbackByPath>& callback, const char* addedLine);

}  // namespace jorvHalclient
