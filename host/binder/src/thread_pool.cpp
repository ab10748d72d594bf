#include "thread_pool.h"

#include <pthread.h>

#include <system_error>
#include <thread>

#include "event_loop.h"
#include "logging.h"

namespace hostbinder {

ThreadPool& ThreadPool::instance() {
    // Leaked on purpose: binder threads keep running while static destructors execute at exit.
    static ThreadPool* const pool = new ThreadPool;
    return *pool;
}

void ThreadPool::submit(std::unique_ptr<Task> task) {
    MutexLock lock(mLock);
    mQueue.push_back(std::move(task));
    if (mIdle > 0) {
        signalLocked();
    } else {
        maybeSpawnLocked();
    }
}

void ThreadPool::signalLocked() {
    if (mSignalled) return;
    mSignalled = true;
    EventLoop::instance().signalWork();
}

void ThreadPool::clearSignalLocked() {
    mSignalled = false;
    EventLoop::instance().clearWorkSignal();
}

void ThreadPool::maybeSpawnLocked() {
    if (!mStarted || mThreads >= mMaxThreads) return;
    ++mThreads;
    spawnWorker();
}

void ThreadPool::spawnWorker() {
    try {
        std::thread([this] {
            pthread_setname_np(pthread_self(), "hb:binder");
            workerLoop();
        }).detach();
    } catch (const std::system_error& e) {
        // Queued work is still taken by the existing threads.
        ALOGE("cannot start a binder thread: %s", e.what());
        --mThreads;
    }
}

std::unique_ptr<Task> ThreadPool::popLocked() {
    std::unique_ptr<Task> task = std::move(mQueue.front());
    mQueue.pop_front();
    // More work than this thread: pass the signal on to another idle thread.
    if (!mQueue.empty() && mIdle > 0) signalLocked();
    return task;
}

std::unique_ptr<Task> ThreadPool::nextTask() {
    MutexLock lock(mLock);
    for (;;) {
        if (!mQueue.empty()) return popLocked();
        ++mIdle;
        lock.unlock();
        bool workSignal = false;
        std::unique_ptr<Task> task = EventLoop::instance().waitAsBinderThread(&workSignal);
        lock.lock();
        --mIdle;
        if (workSignal) clearSignalLocked();
        if (task == nullptr && mQueue.empty()) continue;
        // This thread goes to work: if it was the last one watching, the loop's thread takes
        // over, and the pool grows so that a thread is idle again, as a device's driver asks.
        if (mIdle == 0) {
            mNoIdle.notify_all();
            maybeSpawnLocked();
        }
        if (task != nullptr) return task;
    }
}

void ThreadPool::workerLoop() {
    for (;;) {
        std::unique_ptr<Task> task = nextTask();
        task->run();
    }
}

void ThreadPool::waitUntilNoIdleThread() {
    MutexLock lock(mLock);
    while (mIdle > 0) lock.wait(mNoIdle);
}

void ThreadPool::onWorkSignalOnLoopThread() {
    MutexLock lock(mLock);
    // Nobody idle: the signal is stale, and whoever goes idle next looks at the queue first.
    if (mIdle == 0) {
        clearSignalLocked();
    } else {
        EventLoop::instance().rearmWorkSignal();
    }
}

void ThreadPool::start() {
    MutexLock lock(mLock);
    if (mStarted) return;
    mStarted = true;
    // One thread up front, as on a device; more start when all are busy.
    maybeSpawnLocked();
}

bool ThreadPool::isStarted() const {
    MutexLock lock(mLock);
    return mStarted;
}

bool ThreadPool::setMaxThreadCount(uint32_t count) {
    MutexLock lock(mLock);
    if (mStarted) return false;
    mMaxThreads = count;
    return true;
}

void ThreadPool::join() {
    workerLoop();
}

}  // namespace hostbinder
