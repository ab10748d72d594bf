// The process's one event loop: a single epoll instance watching every connection, in place of
// the kernel driver that reads binder traffic for a device process. Whoever waits in it reads a
// connection that has input: an idle binder thread (which then serves a transaction it read
// itself), or, while no binder thread is idle, the loop's own thread (which only reads and
// queues). A thread waiting for its reply reads its connection directly instead (connection.h).
//
// Registrations are one-shot: the thread an event is reported to owns the connection's input
// until it re-arms the registration, so no two threads ever read one connection at a time. An
// idle connection costs a registration and a table entry, no thread.
#pragma once

#include <android-base/unique_fd.h>

#include <cstdint>
#include <memory>
#include <unordered_map>

#include "binder_internal.h"
#include "mutex.h"

namespace hostbinder {

class Connection;

class EventLoop {
public:
    // The process-wide loop, created (with its thread) on first use. Never destroyed.
    static EventLoop& instance();

    // Watches `fd` for `connection` (armed for input); false when it cannot. `*id` names the
    // registration for the calls below.
    bool add(const std::shared_ptr<Connection>& connection, int fd, uint64_t* id) EXCLUDES(mLock);
    // Stops watching; the loop forgets the connection.
    void remove(uint64_t id, int fd, int writeFd) EXCLUDES(mLock);
    // Reports the next input (or, without `input`, only the peer hanging up) once.
    void arm(uint64_t id, int fd, bool input);
    void disarm(uint64_t id, int fd);
    // Reports once when `writeFd` (a second descriptor of the connection's socket) can take more
    // output. `added` says whether it was watched before.
    bool watchWritable(uint64_t id, int writeFd, bool added);

    // An idle binder thread's wait: one event, handled. Returns a transaction for the thread to
    // serve, if the event brought one; `*workSignal` is set when queued work is waiting.
    std::unique_ptr<Task> waitAsBinderThread(bool* workSignal) EXCLUDES(mLock);

    // The work signal wakes one idle binder thread (see thread_pool.h).
    void signalWork();
    void clearWorkSignal();
    void rearmWorkSignal();

private:
    EventLoop();

    [[noreturn]] void loopThread();
    // Handles one reported event.
    std::unique_ptr<Task> handle(uint64_t data, bool binderThread, bool* workSignal)
            EXCLUDES(mLock);

    android::base::unique_fd mEpoll;
    android::base::unique_fd mWorkEvent;
    Mutex mLock;
    std::unordered_map<uint64_t, std::shared_ptr<Connection>> mConnections GUARDED_BY(mLock);
    uint64_t mNextId GUARDED_BY(mLock) = 1;
};

}  // namespace hostbinder
