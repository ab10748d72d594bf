// Per-thread calling identity, shared by AIBinder_getCalling* and IPCThreadState.
#include <binder/IPCThreadState.h>
#include <unistd.h>

#include "calling_identity.h"

namespace hostbinder {
namespace {

// Plain data only: thread_local objects with destructors would run at thread exit, after the
// runtime may have stopped caring, and cost a registration per thread.
struct ThreadIdentity {
    bool serving;
    CallingIdentity identity;
};
thread_local ThreadIdentity tIdentity = {false, {0, 0}};

}  // namespace

CallingIdentity callingIdentity() {
    if (tIdentity.serving) return tIdentity.identity;
    return CallingIdentity{getpid(), getuid()};
}

ScopedCallingIdentity::ScopedCallingIdentity(CallingIdentity identity)
    : mHadPrevious(tIdentity.serving), mPrevious(tIdentity.identity) {
    tIdentity.serving = true;
    tIdentity.identity = identity;
}

ScopedCallingIdentity::~ScopedCallingIdentity() {
    tIdentity.serving = mHadPrevious;
    tIdentity.identity = mPrevious;
}

}  // namespace hostbinder

namespace android {

IPCThreadState* IPCThreadState::self() {
    // The object has no state of its own (the identity lives in hostbinder's thread-local), so
    // one instance per thread is only needed to hand out a stable pointer.
    thread_local IPCThreadState state;
    return &state;
}

pid_t IPCThreadState::getCallingPid() const {
    return hostbinder::callingIdentity().pid;
}

uid_t IPCThreadState::getCallingUid() const {
    return hostbinder::callingIdentity().uid;
}

}  // namespace android
