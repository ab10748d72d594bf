// Makes the model's callbacks on a thread of its own, in the order they were posted. A callback is
// a binder call into another process: doing it here keeps a slow or dead listener from holding up
// the call that caused it, and no lock of the service is held meanwhile.
#pragma once

#include <android/binder_auto_utils.h>

#include <deque>
#include <functional>
#include <thread>
#include <vector>

#include "Locking.h"
#include "ModelTypes.h"

namespace jorvsim {

class CallbackDispatcher {
public:
    // Told of every callback made and how it went; runs on the dispatcher's thread.
    using Report = std::function<void(const Notification&, const ::ndk::ScopedAStatus&)>;

    explicit CallbackDispatcher(Report report) : mReport(std::move(report)) {}
    ~CallbackDispatcher() { stop(); }
    CallbackDispatcher(const CallbackDispatcher&) = delete;
    CallbackDispatcher& operator=(const CallbackDispatcher&) = delete;

    void start() EXCLUDES(mLock);
    // Queued after everything posted before; dropped once stopping.
    void post(std::vector<Notification> notifications) EXCLUDES(mLock);
    // Ends after the callback in progress; the rest is dropped. Idempotent.
    void stop() EXCLUDES(mLock);

private:
    void run() EXCLUDES(mLock);

    const Report mReport;
    Mutex mLock;
    std::condition_variable mWork;
    std::deque<Notification> mQueue GUARDED_BY(mLock);
    bool mStopping GUARDED_BY(mLock) = false;
    std::thread mThread;  // started and joined by the owner's thread only
};

}  // namespace jorvsim
