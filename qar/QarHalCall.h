#pragma once

#include <android/binder_auto_utils.h>

#include <utility>

#include "QarHalConnection.h"

namespace qarEvent {

// How a service call through the event API's connection ended.
enum class HalCall {
    kNotConnected,  // the service could not be reached (logged)
    kVanished,      // the connection was dropped between connecting and the call (not logged)
    kFailed,        // the call returned a null or failed status (logged, connection dropped)
    kOk,
};

// Runs `call(IJorv&)`, which returns the call's ndk::ScopedAStatus, on the current connection
// with g_qar_hal_mutex held shared, so that a death cannot clear the proxy under it; the hold ends
// as soon as `call` returns. A failed status is reported under `name`. Does not connect: for
// callers that check their input after connecting.
template <typename Call>
HalCall callConnectedQarHal(const char* name, Call&& call) EXCLUDES(g_qar_hal_mutex) {
    ndk::ScopedAStatus status;
    {
        qar::SharedLock lock(g_qar_hal_mutex);
        if (g_qar_hal == nullptr) return HalCall::kVanished;
        status = call(*g_qar_hal);
    }
    return checkQarStatus(status, name) ? HalCall::kOk : HalCall::kFailed;
}

// Connects if needed, then callConnectedQarHal(name, call).
template <typename Call>
HalCall callQarHal(const char* name, Call&& call) EXCLUDES(g_qar_hal_mutex) {
    if (!connectQarHal()) return HalCall::kNotConnected;
    return callConnectedQarHal(name, std::forward<Call>(call));
}

}  // namespace qarEvent
