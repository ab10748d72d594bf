#include "CallbackDispatcher.h"

#include <algorithm>
#include <optional>

namespace jorvsim {

void CallbackDispatcher::start() {
    {
        Lock lock(mLock);
        if (mStopping || mStarted) return;
        mStarted = true;
    }
    mWatchdog = std::thread([this] { watch(); });
}

void CallbackDispatcher::post(std::vector<Notification> notifications) {
    for (std::thread& finished : takeFinished()) finished.join();
    std::vector<::ndk::SpAIBinder> binders;  // released outside the lock
    Lock lock(mLock);
    if (mStopping) return;  // the notifications go on the way out
    for (Notification& n : notifications) {
        ::ndk::SpAIBinder binder = n.callback != nullptr ? n.callback->asBinder() : nullptr;
        const void* key = binder.get();
        auto [it, added] = mClients.try_emplace(key);
        Client& client = it->second;
        if (client.dropped) continue;
        client.handles.insert(n.handle);
        client.queue.push_back(std::move(n));
        if (!added) {
            binders.push_back(std::move(binder));
            continue;
        }
        client.binder = std::move(binder);
        mRunning.emplace_back([this, key] { deliver(key); });
    }
}

void CallbackDispatcher::stop() {
    std::vector<std::deque<Notification>> dropped;  // released outside the lock
    std::vector<std::thread> threads;
    {
        Lock lock(mLock);
        mStopping = true;
        for (auto& [key, client] : mClients) {
            client.dropped = true;
            dropped.push_back(std::move(client.queue));
            client.queue.clear();
        }
        threads = std::move(mRunning);
        mRunning.clear();
        mWatch.notify_all();
    }
    if (mWatchdog.joinable()) mWatchdog.join();
    for (std::thread& thread : threads) thread.join();
    for (std::thread& thread : takeFinished()) thread.join();
}

size_t CallbackDispatcher::threads() const {
    Lock lock(mLock);
    return mRunning.size() + mFinished.size();
}

std::vector<std::thread> CallbackDispatcher::takeFinished() {
    Lock lock(mLock);
    std::vector<std::thread> finished = std::move(mFinished);
    mFinished.clear();
    return finished;
}

void CallbackDispatcher::deliver(const void* key) {
    ::ndk::SpAIBinder binder;  // released once the entry is gone, outside the lock
    std::deque<Notification> discarded;
    for (;;) {
        Notification next;
        {
            Lock lock(mLock);
            Client& client = mClients.at(key);
            client.busy = false;
            if (client.dropped) discarded.swap(client.queue);
            if (client.queue.empty()) {
                binder = std::move(client.binder);
                mClients.erase(key);
                const auto self = std::find_if(mRunning.begin(), mRunning.end(), [](auto& t) {
                    return t.get_id() == std::this_thread::get_id();
                });
                // Not found once stop() took the threads to join them itself.
                if (self != mRunning.end()) {
                    mFinished.push_back(std::move(*self));
                    mRunning.erase(self);
                }
                return;
            }
            next = std::move(client.queue.front());
            client.queue.pop_front();
            client.busy = true;
            client.since = std::chrono::steady_clock::now();
            mWatch.notify_all();
        }
        const ::ndk::ScopedAStatus status =
                next.callback != nullptr ? next.callback->onCallback(next.data)
                                         : ::ndk::ScopedAStatus::fromExceptionCode(EX_NULL_POINTER);
        if (mReport) mReport(next, status);
    }
}

void CallbackDispatcher::watch() {
    for (;;) {
        std::vector<int32_t> handles;
        std::deque<Notification> discarded;
        {
            Lock lock(mLock);
            if (mStopping) return;
            const Instant now = std::chrono::steady_clock::now();
            dropStuckLocked(now, &handles, &discarded);
            if (handles.empty()) {
                std::optional<Instant> due;
                for (const auto& [key, client] : mClients) {
                    if (!client.busy || client.dropped) continue;
                    const Instant at = client.since + mStuckAfter;
                    if (!due || at < *due) due = at;
                }
                if (due) {
                    lock.waitUntil(mWatch, *due);
                } else {
                    lock.wait(mWatch);
                }
                continue;
            }
        }
        if (mDrop) {
            for (int32_t handle : handles) mDrop(handle);
        }
    }
}

void CallbackDispatcher::dropStuckLocked(Instant now, std::vector<int32_t>* handles,
                                         std::deque<Notification>* discarded) {
    for (auto& [key, client] : mClients) {
        if (!client.busy || client.dropped || now - client.since < mStuckAfter) continue;
        client.dropped = true;
        handles->insert(handles->end(), client.handles.begin(), client.handles.end());
        for (Notification& n : client.queue) discarded->push_back(std::move(n));
        client.queue.clear();
    }
}

}  // namespace jorvsim
