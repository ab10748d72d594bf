#include "CallbackDispatcher.h"

#include <condition_variable>
#include <deque>
#include <map>
#include <optional>
#include <set>

#include "Locking.h"

namespace jorvsim {
namespace {

using Instant = std::chrono::steady_clock::time_point;

struct Client {
    ::ndk::SpAIBinder binder;  // keeps the key this binder's while the entry lives
    std::deque<Notification> queue;
    std::set<int32_t> handles;  // of everything posted to it
    bool busy = false;          // a callback is in progress since `since`
    Instant since;
    bool dropped = false;
};

}  // namespace

// Everything the delivery threads use: each holds a share, so a thread left behind by stop()
// outlives the dispatcher safely.
struct CallbackDispatcher::Shared {
    Shared(Report report, Drop drop, std::chrono::milliseconds stuckAfter)
        : report(std::move(report)), drop(std::move(drop)), stuckAfter(stuckAfter) {}

    // Marks the clients stuck at `now` dropped; their handles and queued callbacks go out.
    void dropStuckLocked(Instant now, std::vector<int32_t>* handles,
                         std::deque<Notification>* discarded) REQUIRES(lock);
    // The soonest moment a busy client becomes stuck.
    std::optional<Instant> nextStuckLocked() const REQUIRES(lock);
    // Whether every running thread is inside a callback.
    bool allBusyLocked() const REQUIRES(lock);

    const Report report;
    const Drop drop;
    const std::chrono::milliseconds stuckAfter;
    mutable Mutex lock;
    std::condition_variable changed;  // a client's state, the thread count or stopping changed
    // By callback binder; an entry lives while its delivery thread runs.
    std::map<const void*, Client> clients GUARDED_BY(lock);
    size_t running GUARDED_BY(lock) = 0;
    bool started GUARDED_BY(lock) = false;
    bool stopping GUARDED_BY(lock) = false;
    // stop() gave up waiting: the threads still running must not call report any more.
    bool abandoned GUARDED_BY(lock) = false;
};

CallbackDispatcher::CallbackDispatcher(Report report, Drop drop,
                                       std::chrono::milliseconds stuckAfter,
                                       std::chrono::milliseconds stopBound)
    : mShared(std::make_shared<Shared>(std::move(report), std::move(drop), stuckAfter)),
      mStopBound(stopBound) {}

void CallbackDispatcher::start() {
    {
        Lock lock(mShared->lock);
        if (mShared->stopping || mShared->started) return;
        mShared->started = true;
    }
    mWatchdog = std::thread([shared = mShared] { watch(shared); });
}

void CallbackDispatcher::post(std::vector<Notification> notifications) {
    std::vector<::ndk::SpAIBinder> binders;  // released outside the lock
    Lock lock(mShared->lock);
    if (mShared->stopping) return;  // the notifications go on the way out
    for (Notification& n : notifications) {
        ::ndk::SpAIBinder binder = n.callback != nullptr ? n.callback->asBinder() : nullptr;
        const void* key = binder.get();
        auto [it, added] = mShared->clients.try_emplace(key);
        Client& client = it->second;
        if (client.dropped) continue;
        client.handles.insert(n.handle);
        client.queue.push_back(std::move(n));
        if (!added) {
            binders.push_back(std::move(binder));
            continue;
        }
        client.binder = std::move(binder);
        ++mShared->running;
        std::thread([shared = mShared, key] { deliver(shared, key); }).detach();
    }
}

bool CallbackDispatcher::stop() {
    Shared& shared = *mShared;
    std::vector<std::deque<Notification>> dropped;  // released outside the lock
    {
        Lock lock(shared.lock);
        shared.stopping = true;
        for (auto& [key, client] : shared.clients) {
            client.dropped = true;
            dropped.push_back(std::move(client.queue));
            client.queue.clear();
        }
        shared.changed.notify_all();
    }
    if (mWatchdog.joinable()) mWatchdog.join();
    const Instant deadline = std::chrono::steady_clock::now() + mStopBound;
    Lock lock(shared.lock);
    while (shared.running > 0 && !shared.abandoned) {
        // A thread outside a callback finishes soon whatever its client does: wait for it.
        if (std::chrono::steady_clock::now() < deadline) {
            lock.waitUntil(shared.changed, deadline);
        } else if (shared.allBusyLocked()) {
            shared.abandoned = true;
        } else {
            lock.wait(shared.changed);
        }
    }
    return !shared.abandoned;
}

size_t CallbackDispatcher::threads() const {
    Lock lock(mShared->lock);
    return mShared->running;
}

void CallbackDispatcher::deliver(const std::shared_ptr<Shared>& shared, const void* key) {
    {
        ::ndk::SpAIBinder binder;  // released once the entry is gone, outside the lock
        std::deque<Notification> discarded;
        for (;;) {
            Notification next;
            {
                Lock lock(shared->lock);
                Client& client = shared->clients.at(key);  // not busy: cleared after each callback
                if (client.dropped) discarded.swap(client.queue);
                if (client.queue.empty() || shared->abandoned) {
                    binder = std::move(client.binder);
                    shared->clients.erase(key);
                    break;
                }
                next = std::move(client.queue.front());
                client.queue.pop_front();
                client.busy = true;
                client.since = std::chrono::steady_clock::now();
                shared->changed.notify_all();
            }
            const ::ndk::ScopedAStatus status =
                    next.callback != nullptr
                            ? next.callback->onCallback(next.data)
                            : ::ndk::ScopedAStatus::fromExceptionCode(EX_NULL_POINTER);
            bool report;
            {
                Lock lock(shared->lock);
                // Left behind by stop(): whatever `report` refers to may be gone.
                report = !shared->abandoned;
                shared->clients.at(key).busy = false;
                shared->changed.notify_all();
            }
            if (report && shared->report) shared->report(next, status);
        }
    }
    // Counted out only once the client's binder and callbacks are released: when stop() sees no
    // thread running, none still touches the binder runtime.
    Lock lock(shared->lock);
    --shared->running;
    shared->changed.notify_all();
}

void CallbackDispatcher::watch(const std::shared_ptr<Shared>& shared) {
    for (;;) {
        std::vector<int32_t> handles;
        std::deque<Notification> discarded;
        {
            Lock lock(shared->lock);
            if (shared->stopping) return;
            shared->dropStuckLocked(std::chrono::steady_clock::now(), &handles, &discarded);
            if (handles.empty()) {
                if (const std::optional<Instant> due = shared->nextStuckLocked()) {
                    lock.waitUntil(shared->changed, *due);
                } else {
                    lock.wait(shared->changed);
                }
                continue;
            }
        }
        if (shared->drop) {
            for (int32_t handle : handles) shared->drop(handle);
        }
    }
}

void CallbackDispatcher::Shared::dropStuckLocked(Instant now, std::vector<int32_t>* handles,
                                                 std::deque<Notification>* discarded) {
    for (auto& [key, client] : clients) {
        if (!client.busy || client.dropped || now - client.since < stuckAfter) continue;
        client.dropped = true;
        handles->insert(handles->end(), client.handles.begin(), client.handles.end());
        for (Notification& n : client.queue) discarded->push_back(std::move(n));
        client.queue.clear();
    }
}

std::optional<Instant> CallbackDispatcher::Shared::nextStuckLocked() const {
    std::optional<Instant> due;
    for (const auto& [key, client] : clients) {
        if (!client.busy || client.dropped) continue;
        const Instant at = client.since + stuckAfter;
        if (!due || at < *due) due = at;
    }
    return due;
}

bool CallbackDispatcher::Shared::allBusyLocked() const {
    size_t busy = 0;
    for (const auto& [key, client] : clients) busy += client.busy ? 1 : 0;
    return busy == running;
}

}  // namespace jorvsim
