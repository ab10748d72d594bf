#include "CallGate.h"

namespace jorvsim {

bool CallGate::enter() {
    Lock lock(mLock);
    if (mClosed) return false;
    ++mInProgress;
    return true;
}

void CallGate::leave() {
    Lock lock(mLock);
    if (--mInProgress == 0) mIdle.notify_all();
}

void CallGate::close() {
    Lock lock(mLock);
    mClosed = true;
}

bool CallGate::waitIdle(std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    Lock lock(mLock);
    while (mInProgress > 0 && std::chrono::steady_clock::now() < deadline) {
        lock.waitUntil(mIdle, deadline);
    }
    return mInProgress == 0;
}

}  // namespace jorvsim
