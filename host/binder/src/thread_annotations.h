// Lock annotations for clang's -Wthread-safety, and the mutex types that carry them.
// GCC does not know the attributes, so there they expand to nothing.
#pragma once

#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define HB_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define HB_THREAD_ANNOTATION(x)
#endif

#define CAPABILITY(x) HB_THREAD_ANNOTATION(capability(x))
#define SCOPED_CAPABILITY HB_THREAD_ANNOTATION(scoped_lockable)
#define GUARDED_BY(x) HB_THREAD_ANNOTATION(guarded_by(x))
#define PT_GUARDED_BY(x) HB_THREAD_ANNOTATION(pt_guarded_by(x))
#define REQUIRES(...) HB_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) HB_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) HB_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) HB_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define NO_THREAD_SAFETY_ANALYSIS HB_THREAD_ANNOTATION(no_thread_safety_analysis)

namespace hostbinder {

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

// Scoped lock on a Mutex. Waiting on a condition variable keeps the capability held as far as the
// analysis is concerned, which matches what the caller observes.
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

private:
    std::unique_lock<std::mutex> mLock;
};

}  // namespace hostbinder
