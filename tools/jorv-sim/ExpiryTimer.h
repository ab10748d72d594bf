// Ends requests when their time is up, on a thread of its own, so that listeners hear of an expiry
// when it happens rather than at the next call.
#pragma once

#include <functional>
#include <optional>
#include <thread>

#include "Clock.h"
#include "Locking.h"

namespace jorvsim {

class ExpiryTimer {
public:
    // `nextDeadline` gives the soonest expiry (steady-clock time), `onDue` ends what is due.
    ExpiryTimer(std::function<std::optional<TimePoint>()> nextDeadline, std::function<void()> onDue)
        : mNextDeadline(std::move(nextDeadline)), mOnDue(std::move(onDue)) {}
    ~ExpiryTimer() { stop(); }
    ExpiryTimer(const ExpiryTimer&) = delete;
    ExpiryTimer& operator=(const ExpiryTimer&) = delete;

    void start() EXCLUDES(mLock);
    // The soonest expiry may have moved (a request came or went): look again.
    void wake() EXCLUDES(mLock);
    void stop() EXCLUDES(mLock);

private:
    void run() EXCLUDES(mLock);

    const std::function<std::optional<TimePoint>()> mNextDeadline;
    const std::function<void()> mOnDue;
    Mutex mLock;
    std::condition_variable mChanged;
    bool mWoken GUARDED_BY(mLock) = false;
    bool mStopping GUARDED_BY(mLock) = false;
    std::thread mThread;  // started and joined by the owner's thread only
};

}  // namespace jorvsim
