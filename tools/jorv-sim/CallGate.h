// Calls in progress, so that shutdown can close the door and wait for them before the state they
// use is torn down.
#pragma once

#include <chrono>

#include "Locking.h"

namespace jorvsim {

class CallGate {
public:
    // False once closed: the call must not touch the service's state.
    bool enter() EXCLUDES(mLock);
    void leave() EXCLUDES(mLock);
    void close() EXCLUDES(mLock);
    // True when no call is in progress, waiting up to `timeout` for that.
    bool waitIdle(std::chrono::milliseconds timeout) EXCLUDES(mLock);

private:
    Mutex mLock;
    std::condition_variable mIdle;
    int mInProgress GUARDED_BY(mLock) = 0;
    bool mClosed GUARDED_BY(mLock) = false;
};

// One call's passage through the gate.
class GatePass {
public:
    explicit GatePass(CallGate& gate) : mGate(gate), mEntered(gate.enter()) {}
    ~GatePass() {
        if (mEntered) mGate.leave();
    }
    GatePass(const GatePass&) = delete;
    GatePass& operator=(const GatePass&) = delete;

    bool entered() const { return mEntered; }

private:
    CallGate& mGate;
    const bool mEntered;
};

}  // namespace jorvsim
