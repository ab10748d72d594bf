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
//
// Stopping must not wait on a client: a callback that never returns would keep the service from
// ever stopping. stop() waits at most `stopBound` for the callbacks in progress, then leaves the
// threads still inside one behind. Such a thread owns a share of the dispatcher's state, so it
// stays valid whatever happens to the dispatcher, and once its call returns it reports nothing and
// exits.
#pragma once

#include <android/binder_auto_utils.h>

#include <chrono>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "ModelTypes.h"

namespace jorvsim {

// How long a client's callback may take before the client is dropped.
inline constexpr std::chrono::milliseconds kCallbackStuckAfter{10000};
// How long stopping waits for the callbacks in progress.
inline constexpr std::chrono::milliseconds kCallbackStopBound{1000};

class CallbackDispatcher {
public:
    // Told of every callback made and how it went; runs on the client's delivery thread.
    using Report = std::function<void(const Notification&, const ::ndk::ScopedAStatus&)>;
    // Told of each handle of a client dropped for being stuck; runs on the watchdog thread.
    using Drop = std::function<void(int32_t handle)>;

    explicit CallbackDispatcher(Report report, Drop drop = nullptr,
                                std::chrono::milliseconds stuckAfter = kCallbackStuckAfter,
                                std::chrono::milliseconds stopBound = kCallbackStopBound);
    ~CallbackDispatcher() { stop(); }
    CallbackDispatcher(const CallbackDispatcher&) = delete;
    CallbackDispatcher& operator=(const CallbackDispatcher&) = delete;

    void start();
    // Queued after everything posted before for the same client; dropped once stopping.
    void post(std::vector<Notification> notifications);
    // Drops what is queued and waits for the callbacks in progress, up to the stop bound. False
    // when some were still in progress then: their threads are left behind, and the process had
    // better end without waiting for them. Idempotent.
    bool stop();
    // Delivery threads still running, left-behind ones included.
    size_t threads() const;

private:
    struct Shared;
    static void deliver(const std::shared_ptr<Shared>& shared, const void* key);
    static void watch(const std::shared_ptr<Shared>& shared);

    const std::shared_ptr<Shared> mShared;
    const std::chrono::milliseconds mStopBound;
    std::thread mWatchdog;  // started and joined by the owner's thread only
};

}  // namespace jorvsim
