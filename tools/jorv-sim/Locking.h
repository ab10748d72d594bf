// The simulator's lock: a mutex the clang analysis knows as a capability (std::mutex carries no
// annotation), and a scoped lock that can also wait on a condition variable, so the analysis
// follows every guarded field.
#pragma once

#include <android-base/thread_annotations.h>

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace jorvsim {

class CAPABILITY("mutex") Mutex : public std::mutex {
public:
    void lock() ACQUIRE() { std::mutex::lock(); }
    void unlock() RELEASE() { std::mutex::unlock(); }
};

class SCOPED_CAPABILITY Lock {
public:
    explicit Lock(Mutex& mutex) ACQUIRE(mutex) : mLock(mutex) {}
    ~Lock() RELEASE() {}
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    // Waiting lets go of the mutex and takes it back before returning; to the analysis the
    // capability stays held, which is what the caller observes.
    void wait(std::condition_variable& cv) { cv.wait(mLock); }
    template <typename Clock, typename Duration>
    void waitUntil(std::condition_variable& cv,
                   const std::chrono::time_point<Clock, Duration>& deadline) {
        cv.wait_until(mLock, deadline);
    }
    template <typename Rep, typename Period>
    void waitFor(std::condition_variable& cv, const std::chrono::duration<Rep, Period>& timeout) {
        cv.wait_for(mLock, timeout);
    }

private:
    std::unique_lock<std::mutex> mLock;
};

}  // namespace jorvsim
