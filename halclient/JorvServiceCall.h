#pragma once

// The calling pattern every operation of the namespace client shares: connect, hold the connection
// shared across one service call, examine the status after letting go. Internal to the library.

#include <android/binder_auto_utils.h>

#include <cstdint>
#include <optional>
#include <utility>

#include "JorvHalConnection.h"
#include "RequestParcels.h"
#include "common/ServiceCall.h"

namespace jorvHalclient {

using ::qar::CallOutcome;

// Connects if needed, then runs `call(IJorv&)` with g_jorv_hal_mutex held shared, so the
// connection cannot be dropped under the call. `call` returns the service call's status, or
// std::nullopt to refuse (nothing sent). The hold is released before the status is examined.
// Returns kNotConnected when there is no connection after connecting, kNotSent when `call` refused.
// Must be called without g_jorv_hal_mutex held.
template <typename Call>
CallOutcome callJorvHal(const char* name, Call&& call) EXCLUDES(g_jorv_hal_mutex) {
    get_jorv_hal_and_link_to_death();
    ndk::ScopedAStatus status;
    {
        qar::SharedLock lock(g_jorv_hal_mutex);
        if (g_jorv_hal == nullptr) return CallOutcome::kNotConnected;
        std::optional<ndk::ScopedAStatus> sent = std::forward<Call>(call)(*g_jorv_hal);
        if (!sent.has_value()) return CallOutcome::kNotSent;
        status = std::move(*sent);
    }
    return checkJorvStatus(status, name) ? CallOutcome::kOk : CallOutcome::kFailed;
}

// Sends the parcel that `build` fills through IJorv::request. `build` runs with the shared hold
// kept and returns false to refuse the request (nothing sent). Returns the handle as the service
// left it: -1 when nothing was sent or the service did not set it.
template <typename Build>
int sendRequest(const char* name, Build&& build) EXCLUDES(g_jorv_hal_mutex) {
    int32_t handle = -1;
    callJorvHal(name, [&](IJorv& hal) -> std::optional<ndk::ScopedAStatus> {
        JorvRequestParcel parcel;
        if (!build(parcel)) return std::nullopt;
        return hal.request(parcel, &handle);
    });
    return handle;
}

}  // namespace jorvHalclient
