// The process's binder threads: the pool ABinderProcess_startThreadPool() starts and the threads
// that call ABinderProcess_joinThreadPool(). As on a device, they are the only threads that run
// incoming work: transactions that are not part of a waiting thread's call chain, one-way calls,
// death notifications and the release of objects peers gave back. Until one is there, work waits
// queued here.
//
// An idle binder thread waits in the event loop (event_loop.h) rather than on the queue, so the
// thread that picks up a connection's transaction serves it itself, with no hand-off; queued work
// reaches it through the loop's work signal. The loop's own thread watches the connections only
// while no binder thread is idle.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>

#include "binder_internal.h"
#include "mutex.h"

namespace hostbinder {

class ThreadPool {
public:
    // The process-wide pool. Never destroyed: its threads may outlive static destruction.
    static ThreadPool& instance();

    // Queues `task` for a binder thread; wakes an idle one, or starts one more if none is idle and
    // the pool may grow. Never blocks on other work.
    void submit(std::unique_ptr<Task> task) EXCLUDES(mLock);

    // ABinderProcess_* semantics.
    void start() EXCLUDES(mLock);
    bool isStarted() const EXCLUDES(mLock);
    bool setMaxThreadCount(uint32_t count) EXCLUDES(mLock);
    [[noreturn]] void join() EXCLUDES(mLock);

    // The event loop's thread: returns once no binder thread is idle in the loop, i.e. once
    // nobody else watches the connections.
    void waitUntilNoIdleThread() EXCLUDES(mLock);
    // The event loop's thread received the work signal meant for idle binder threads.
    void onWorkSignalOnLoopThread() EXCLUDES(mLock);

    // As on a device: at most this many threads are started unless the process asks otherwise.
    static constexpr uint32_t kDefaultMaxThreads = 15;

private:
    ThreadPool() = default;

    [[noreturn]] void workerLoop() EXCLUDES(mLock);
    // The next piece of work for a binder thread: queued work, or what the event loop brings.
    std::unique_ptr<Task> nextTask() EXCLUDES(mLock);
    std::unique_ptr<Task> popLocked() REQUIRES(mLock);
    void signalLocked() REQUIRES(mLock);
    void clearSignalLocked() REQUIRES(mLock);
    void maybeSpawnLocked() REQUIRES(mLock);
    // Called with mLock held: a failed start gives the count back.
    void spawnWorker() REQUIRES(mLock);

    mutable Mutex mLock;
    std::condition_variable mNoIdle;
    std::deque<std::unique_ptr<Task>> mQueue GUARDED_BY(mLock);
    size_t mThreads GUARDED_BY(mLock) = 0;  // started by the pool (joined threads not counted)
    size_t mIdle GUARDED_BY(mLock) = 0;     // binder threads waiting in the event loop
    bool mSignalled GUARDED_BY(mLock) = false;
    uint32_t mMaxThreads GUARDED_BY(mLock) = kDefaultMaxThreads;
    bool mStarted GUARDED_BY(mLock) = false;
};

// Runs `fn` on a binder thread.
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
