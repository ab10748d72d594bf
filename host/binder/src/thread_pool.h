// The process's binder threads. Incoming transactions (and other work that may run user code) are
// queued here by connection readers, which must never block on user code themselves.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>

#include "binder_internal.h"
#include "thread_annotations.h"

namespace hostbinder {

class ThreadPool {
public:
    // The process-wide pool. Never destroyed: its threads may outlive static destruction.
    static ThreadPool& instance();

    // Runs `task` on a pool thread. A new thread is started whenever no idle one is left to take
    // the task, up to the cap, so that a handler that synchronously waits for a nested call
    // (served by another pool thread) cannot starve the pool.
    void submit(std::unique_ptr<Task> task) EXCLUDES(mLock);

    // ABinderProcess_* semantics.
    void start() EXCLUDES(mLock);
    bool isStarted() const EXCLUDES(mLock);
    bool setMaxThreadCount(uint32_t count) EXCLUDES(mLock);
    [[noreturn]] void join() EXCLUDES(mLock);

    // The pool never grows past max(requested maximum, kMinThreadCap).
    static constexpr size_t kMinThreadCap = 32;

private:
    ThreadPool() = default;

    [[noreturn]] void workerLoop() EXCLUDES(mLock);
    void spawnWorker() EXCLUDES(mLock);
    size_t capLocked() const REQUIRES(mLock);

    mutable Mutex mLock;
    std::condition_variable mWorkAvailable;
    std::deque<std::unique_ptr<Task>> mQueue GUARDED_BY(mLock);
    size_t mThreads GUARDED_BY(mLock) = 0;
    size_t mIdle GUARDED_BY(mLock) = 0;
    uint32_t mMaxThreads GUARDED_BY(mLock) = 0;
    bool mStarted GUARDED_BY(mLock) = false;
};

// Runs `fn` on a pool thread.
template <typename Fn>
void runOnPool(Fn&& fn) {
    class FnTask final : public Task {
    public:
        explicit FnTask(Fn&& f) : mFn(std::forward<Fn>(f)) {}
        void run() override { mFn(); }

    private:
        std::decay_t<Fn> mFn;
    };
    ThreadPool::instance().submit(std::make_unique<FnTask>(std::forward<Fn>(fn)));
}

}  // namespace hostbinder
