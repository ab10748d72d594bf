#pragma once

#include <mutex>
#include <shared_mutex>

// Clang thread-safety annotations; they expand to nothing elsewhere. The standard library's
// mutexes carry none, so the guarded state of the library uses the thin wrappers below.
#if defined(__clang__)
#define QAR_TSA(x) __attribute__((x))
#else
#define QAR_TSA(x)
#endif

#define CAPABILITY(x) QAR_TSA(capability(x))
#define SCOPED_CAPABILITY QAR_TSA(scoped_lockable)
#define GUARDED_BY(x) QAR_TSA(guarded_by(x))
#define REQUIRES(...) QAR_TSA(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) QAR_TSA(acquire_capability(__VA_ARGS__))
#define ACQUIRE_SHARED(...) QAR_TSA(acquire_shared_capability(__VA_ARGS__))
#define RELEASE(...) QAR_TSA(release_capability(__VA_ARGS__))
#define RELEASE_SHARED(...) QAR_TSA(release_shared_capability(__VA_ARGS__))
#define EXCLUDES(...) QAR_TSA(locks_excluded(__VA_ARGS__))
#define NO_THREAD_SAFETY_ANALYSIS QAR_TSA(no_thread_safety_analysis)

namespace qar {

// A reader/writer lock (a shared timed mutex) that the analysis understands.
class CAPABILITY("mutex") SharedTimedMutex : public std::shared_timed_mutex {
public:
    void lock() ACQUIRE() { std::shared_timed_mutex::lock(); }
    void unlock() RELEASE() { std::shared_timed_mutex::unlock(); }
    void lock_shared() ACQUIRE_SHARED() { std::shared_timed_mutex::lock_shared(); }
    void unlock_shared() RELEASE_SHARED() { std::shared_timed_mutex::unlock_shared(); }
};

// A plain mutex that the analysis understands.
class CAPABILITY("mutex") Mutex : public std::mutex {
public:
    void lock() ACQUIRE() { std::mutex::lock(); }
    void unlock() RELEASE() { std::mutex::unlock(); }
};

// Holds a SharedTimedMutex shared until unlock() or the end of the scope, whichever comes first.
// The early release serves callers whose lock order requires letting go of the connection before
// a lock taken later.
class SCOPED_CAPABILITY SharedLock {
public:
    explicit SharedLock(SharedTimedMutex& mutex) ACQUIRE_SHARED(mutex) : mMutex(mutex) {
        mMutex.lock_shared();
    }
    ~SharedLock() RELEASE() {
        if (mHeld) mMutex.unlock_shared();
    }
    void unlock() RELEASE() {
        mMutex.unlock_shared();
        mHeld = false;
    }
    SharedLock(const SharedLock&) = delete;
    SharedLock& operator=(const SharedLock&) = delete;

private:
    SharedTimedMutex& mMutex;
    bool mHeld = true;
};

// Holds a mutex exclusively for the scope.
template <typename M>
class SCOPED_CAPABILITY ExclusiveLock {
public:
    explicit ExclusiveLock(M& mutex) ACQUIRE(mutex) : mMutex(mutex) { mMutex.lock(); }
    ~ExclusiveLock() RELEASE() { mMutex.unlock(); }
    ExclusiveLock(const ExclusiveLock&) = delete;
    ExclusiveLock& operator=(const ExclusiveLock&) = delete;

private:
    M& mMutex;
};

}  // namespace qar
