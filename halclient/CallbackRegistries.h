#pragma once

// Access to the process-wide registries of callback objects (ClientGlobals.h). Internal.

#include <memory>
#include <vector>

#include "ClientGlobals.h"
#include "JorvCallbackClient.h"

namespace jorvHalclient {

// The library locks request_callback_mutex through RequestCallbacksLock and reaches the vector only
// through requestCallbacks(), both tied to gRequestCallbacksCapability, so every access is still
// checked.
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
