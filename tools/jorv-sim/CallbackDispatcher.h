// Makes the model's callbacks off the calling threads, with one delivery thread per client: a
// callback is a binder call into another process, and a slow or dead listener must hold up neither
// the call that caused it nor any other client's callbacks. No lock of the service is held
// meanwhile.
//
// A client is a callback binder. Each one's callbacks are made one at a time in the order they
// were posted; its thread exits once its queue is empty, so threads are bounded by the clients
// with callbacks pending. A client whose callback has not returned after `stuckAfter` is dropped
// like a dead one: its queued callbacks are discarded, later ones ignored while its call is stuck,
// and `drop` is told the handles it was called for.
#pragma once

#include <android/binder_auto_utils.h>

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <thread>
#include <vector>

#include "Locking.h"
#include "ModelTypes.h"

namespace jorvsim {

// How long a client's callback may take before the client is dropped.
inline constexpr std::chrono::milliseconds kCallbackStuckAfter{10000};

class CallbackDispatcher {
public:
    // Told of every callback made and how it went; runs on the client's delivery thread.
    using Report = std::function<void(const Notification&, const ::ndk::ScopedAStatus&)>;
    // Told of each handle of a client dropped for being stuck; runs on the watchdog thread.
    using Drop = std::function<void(int32_t handle)>;

    explicit CallbackDispatcher(Report report, Drop drop = nullptr,
                                std::chrono::milliseconds stuckAfter = kCallbackStuckAfter)
        : mReport(std::move(report)), mDrop(std::move(drop)), mStuckAfter(stuckAfter) {}
    ~CallbackDispatcher() { stop(); }
    CallbackDispatcher(const CallbackDispatcher&) = delete;
    CallbackDispatcher& operator=(const CallbackDispatcher&) = delete;

    void start() EXCLUDES(mLock);
    // Queued after everything posted before for the same client; dropped once stopping.
    void post(std::vector<Notification> notifications) EXCLUDES(mLock);
    // Ends after the callbacks in progress return; the rest is dropped. Idempotent.
    void stop() EXCLUDES(mLock);
    // Delivery threads not yet joined (for tests).
    size_t threads() const EXCLUDES(mLock);

private:
    using Instant = std::chrono::steady_clock::time_point;
    struct Client {
        ::ndk::SpAIBinder binder;  // keeps the key this binder's while the entry lives
        std::deque<Notification> queue;
        std::set<int32_t> handles;  // of everything posted to it
        bool busy = false;          // a callback is in progress since `since`
        Instant since;
        bool dropped = false;
    };

    void deliver(const void* key) EXCLUDES(mLock);
    void watch() EXCLUDES(mLock);
    // Marks the clients stuck at `now` dropped; their handles and queued callbacks go out.
    void dropStuckLocked(Instant now, std::vector<int32_t>* handles,
                         std::deque<Notification>* discarded) REQUIRES(mLock);
    std::vector<std::thread> takeFinished() EXCLUDES(mLock);

    const Report mReport;
    const Drop mDrop;
    const std::chrono::milliseconds mStuckAfter;
    mutable Mutex mLock;
    std::condition_variable mWatch;
    // By callback binder; an entry lives while its delivery thread runs.
    std::map<const void*, Client> mClients GUARDED_BY(mLock);
    std::vector<std::thread> mRunning GUARDED_BY(mLock);
    std::vector<std::thread> mFinished GUARDED_BY(mLock);
    bool mStarted GUARDED_BY(mLock) = false;
    bool mStopping GUARDED_BY(mLock) = false;
    std::thread mWatchdog;  // started and joined by the owner's thread only
};

}  // namespace jorvsim
