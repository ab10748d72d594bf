#include "thread_pool.h"

#include <pthread.h>

#include <algorithm>
#include <system_error>
#include <thread>

#include "logging.h"

namespace hostbinder {

ThreadPool& ThreadPool::instance() {
    // Leaked on purpose: worker threads keep running while static destructors execute at exit.
    static ThreadPool* const pool = new ThreadPool;
    return *pool;
}

size_t ThreadPool::capLocked() const {
    return std::max<size_t>(mMaxThreads, kMinThreadCap);
}

void ThreadPool::submit(std::unique_ptr<Task> task) {
    bool spawn = false;
    {
        MutexLock lock(mLock);
        mQueue.push_back(std::move(task));
        // Idle workers already woken for earlier tasks still count as idle until they take one,
        // hence the comparison with the queue length rather than with zero.
        if (mQueue.size() > mIdle && mThreads < capLocked()) {
            ++mThreads;
            spawn = true;
        } else if (mIdle > 0) {
            mWorkAvailable.notify_one();
        }
    }
    if (spawn) spawnWorker();
}

void ThreadPool::spawnWorker() {
    try {
        std::thread([this] {
            pthread_setname_np(pthread_self(), "hb:binder");
            workerLoop();
        }).detach();
    } catch (const std::system_error& e) {
        // Queued work is still taken by the existing workers.
        ALOGE("cannot start a binder thread: %s", e.what());
        MutexLock lock(mLock);
        --mThreads;
    }
}

void ThreadPool::workerLoop() {
    for (;;) {
        std::unique_ptr<Task> task;
        {
            MutexLock lock(mLock);
            while (mQueue.empty()) {
                ++mIdle;
                lock.wait(mWorkAvailable);
                --mIdle;
            }
            task = std::move(mQueue.front());
            mQueue.pop_front();
        }
        task->run();
    }
}

void ThreadPool::start() {
    bool spawn = false;
    {
        MutexLock lock(mLock);
        if (mStarted) return;
        mStarted = true;
        // One thread ready up front, as a device's pool would have.
        if (mThreads == 0) {
            ++mThreads;
            spawn = true;
        }
    }
    if (spawn) spawnWorker();
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
    {
        MutexLock lock(mLock);
        ++mThreads;
    }
    workerLoop();
}

}  // namespace hostbinder
