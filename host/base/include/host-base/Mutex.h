// The mutex the host-only code (runtime, simulator) locks with, annotated for clang's
// -Wthread-safety: std::mutex carries no capability, so the analysis could follow no guarded field.
#pragma once

#include <android-base/thread_annotations.h>

#include <chrono>
#include <condition_variable>
#include <mutex>

// GCC knows none of the analysis attributes and warns on each one; the analysis runs under clang,
// so for GCC the annotations expand to nothing.
#if !defined(__clang__)
#undef THREAD_ANNOTATION_ATTRIBUTE__
#define THREAD_ANNOTATION_ATTRIBUTE__(x)
#endif

namespace hostbase {

// std::mutex with a capability the analysis can follow.
class CAPABILITY("mutex") Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() ACQUIRE() { mMutex.lock(); }
    void unlock() RELEASE() { mMutex.unlock(); }

private:
    friend class MutexLock;
    std::mutex mMutex;
};

// Scoped lock on a Mutex. Waiting on a condition variable lets go of the mutex and takes it back
// before returning; to the analysis the capability stays held, which is what the caller observes.
class SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : mLock(mutex.mMutex) {}
    ~MutexLock() RELEASE() {}
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    // Temporarily lets go of the mutex (e.g. around a blocking read), then takes it back.
    void unlock() RELEASE() { mLock.unlock(); }
    void lock() ACQUIRE() { mLock.lock(); }

    void wait(std::condition_variable& cv) { cv.wait(mLock); }
    template <typename Clock, typename Duration>
    std::cv_status waitUntil(std::condition_variable& cv,
                             const std::chrono::time_point<Clock, Duration>& deadline) {
        return cv.wait_until(mLock, deadline);
    }
    template <typename Rep, typename Period>
    std::cv_status waitFor(std::condition_variable& cv,
                           const std::chrono::duration<Rep, Period>& timeout) {
        return cv.wait_for(mLock, timeout);
    }

private:
    std::unique_lock<std::mutex> mLock;
};

}  // namespace hostbase
