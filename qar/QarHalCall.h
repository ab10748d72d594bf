#pragma once

#include <android/binder_auto_utils.h>

#include <utility>

#include "QarHalConnection.h"
#include "common/ServiceCall.h"

namespace qarEvent {

using ::qar::CallOutcome;

// Runs `call(IJorv&)`, which returns the call's ndk::ScopedAStatus, on the current connection
// with g_qar_hal_mutex held shared, so that a death cannot clear the proxy under it; the hold ends
// as soon as `call` returns. A failed status is reported under `name`. Does not connect: for
// callers that check their input after connecting.
template <typename Call>
CallOutcome callConnectedQarHal(const char* name, Call&& call) EXCLUDES(g_qar_hal_mutex) {
    ndk::ScopedAStatus status;
    {
        qar::SharedLock lock(g_qar_hal_mutex);
        if (g_qar_hal == nullptr) return CallOutcome::kVanished;
        status = call(*g_qar_hal);
    }
    return checkQarStatus(status, name) ? CallOutcome::kOk : CallOutcome::kFailed;
}

// Connects if needed (kNotConnected when that fails, logged), then callConnectedQarHal(name, call).
template <typename Call>
CallOutcome callQarHal(const char* name, Call&& call) EXCLUDES(g_qar_hal_mutex) {
    if (!connectQarHal()) return CallOutcome::kNotConnected;
    return callConnectedQarHal(name, std::forward<Call>(call));
}

}  // namespace qarEvent
