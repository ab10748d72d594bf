#pragma once

// What the library's two connections to the service share about a finished service call: how it
// ended, and what a failed one does to its connection. Internal.

#include <android/binder_auto_utils.h>

namespace qar {

// How a service call through one of the connections ended.
enum class CallOutcome {
    kNotConnected,  // the service could not be reached
    kVanished,      // the connection was dropped between connecting and the call (not logged)
    kNotSent,       // the caller refused to send
    kFailed,        // the call returned a null or failed status (logged, connection dropped)
    kOk,
};

// Whether a service call's status is present and ok.
inline bool isStatusOk(const ndk::ScopedAStatus& status) {
    return status.get() != nullptr && AStatus_isOk(status.get());
}

// The text and log tag a connection reports a failed call with; `format` takes the operation's
// name.
struct FailureLog {
    const char* tag;
    const char* format;
};

// Examines the status of a finished service call, made with the shared hold of the connection's
// lock and already released. A null or failed status is logged at ERROR with `name` and `drop`
// forgets the connection, so that the next call reconnects. Returns whether the call succeeded.
bool checkCallStatus(const ndk::ScopedAStatus& status, const FailureLog& log, const char* name,
                     void (*drop)());

}  // namespace qar
