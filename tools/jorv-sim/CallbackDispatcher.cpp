#include "CallbackDispatcher.h"

namespace jorvsim {

void CallbackDispatcher::start() {
    {
        Lock lock(mLock);
        if (mStopping) return;
    }
    if (!mThread.joinable()) mThread = std::thread([this] { run(); });
}

void CallbackDispatcher::post(std::vector<Notification> notifications) {
    if (notifications.empty()) return;
    {
        Lock lock(mLock);
        if (!mStopping) {
            for (Notification& n : notifications) mQueue.push_back(std::move(n));
            mWork.notify_one();
            return;
        }
    }
    // Stopping: the notifications (and their callback references) go here, outside the lock.
}

void CallbackDispatcher::stop() {
    std::deque<Notification> dropped;
    {
        Lock lock(mLock);
        mStopping = true;
        dropped.swap(mQueue);
        mWork.notify_all();
    }
    if (mThread.joinable()) mThread.join();
}

void CallbackDispatcher::run() {
    for (;;) {
        Notification next;
        {
            Lock lock(mLock);
            while (!mStopping && mQueue.empty()) lock.wait(mWork);
            if (mStopping) return;
            next = std::move(mQueue.front());
            mQueue.pop_front();
        }
        const ::ndk::ScopedAStatus status =
                next.callback != nullptr ? next.callback->onCallback(next.data)
                                         : ::ndk::ScopedAStatus::fromExceptionCode(EX_NULL_POINTER);
        if (mReport) mReport(next, status);
    }
}

}  // namespace jorvsim
