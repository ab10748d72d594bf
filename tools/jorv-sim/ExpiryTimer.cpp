#include "ExpiryTimer.h"

namespace jorvsim {

void ExpiryTimer::start() {
    {
        Lock lock(mLock);
        if (mStopping) return;
    }
    if (!mThread.joinable()) mThread = std::thread([this] { run(); });
}

void ExpiryTimer::wake() {
    Lock lock(mLock);
    mWoken = true;
    mChanged.notify_all();
}

void ExpiryTimer::stop() {
    {
        Lock lock(mLock);
        mStopping = true;
        mChanged.notify_all();
    }
    if (mThread.joinable()) mThread.join();
}

void ExpiryTimer::run() {
    for (;;) {
        // Read before waiting: a wake() in between sets mWoken, so the wait below is skipped
        // and the new deadline is read on the next round.
        const std::optional<TimePoint> deadline = mNextDeadline();
        {
            Lock lock(mLock);
            if (!mWoken && !mStopping) {
                if (deadline.has_value()) {
                    lock.waitUntil(mChanged, *deadline);
                } else {
                    lock.wait(mChanged);
                }
            }
            mWoken = false;
            if (mStopping) return;
        }
        mOnDue();
    }
}

}  // namespace jorvsim
