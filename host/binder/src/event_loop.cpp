#include "event_loop.h"

#include <errno.h>
#include <pthread.h>
#include <stdlib.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <cstring>
#include <system_error>
#include <thread>

#include "connection.h"
#include "logging.h"
#include "thread_pool.h"

namespace hostbinder {
namespace {

// Registration data: the connection's id, shifted, with the low bit telling output from input.
// Id 0 is the work signal.
constexpr uint64_t kWorkSignal = 0;
constexpr uint64_t kWritable = 1;
constexpr uint32_t kInputEvents = EPOLLIN | EPOLLRDHUP | EPOLLONESHOT;

uint64_t dataFor(uint64_t id, bool writable) {
    return (id << 1) | (writable ? kWritable : 0);
}

[[noreturn]] void fatal(const char* what) {
    // The runtime cannot work without its loop; a device process without a binder fd fails
    // the same way.
    ALOGE("cannot create the event loop: %s: %s", what, strerror(errno));
    abort();
}

}  // namespace

EventLoop& EventLoop::instance() {
    // Leaked: its thread runs until the process exits.
    static EventLoop* const loop = new EventLoop;
    return *loop;
}

EventLoop::EventLoop()
    : mEpoll(epoll_create1(EPOLL_CLOEXEC)), mWorkEvent(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!mEpoll.ok() || !mWorkEvent.ok()) fatal("epoll or eventfd");
    epoll_event event{};
    event.events = EPOLLIN | EPOLLONESHOT;
    event.data.u64 = kWorkSignal;
    if (epoll_ctl(mEpoll.get(), EPOLL_CTL_ADD, mWorkEvent.get(), &event) != 0) fatal("epoll_ctl");
    try {
        std::thread([this] {
            pthread_setname_np(pthread_self(), "hb:loop");
            loopThread();
        }).detach();
    } catch (const std::system_error&) {
        fatal("thread");
    }
}

bool EventLoop::add(const std::shared_ptr<Connection>& connection, int fd, uint64_t* id) {
    {
        MutexLock lock(mLock);
        *id = mNextId++;
        mConnections.emplace(*id, connection);
    }
    epoll_event event{};
    event.events = kInputEvents;
    event.data.u64 = dataFor(*id, false);
    if (epoll_ctl(mEpoll.get(), EPOLL_CTL_ADD, fd, &event) == 0) return true;
    MutexLock lock(mLock);
    mConnections.erase(*id);
    return false;
}

void EventLoop::remove(uint64_t id, int fd, int writeFd) {
    epoll_ctl(mEpoll.get(), EPOLL_CTL_DEL, fd, nullptr);
    if (writeFd >= 0) epoll_ctl(mEpoll.get(), EPOLL_CTL_DEL, writeFd, nullptr);
    std::shared_ptr<Connection> removed;
    MutexLock lock(mLock);
    auto it = mConnections.find(id);
    if (it == mConnections.end()) return;
    // Never the last reference: whoever closes the connection holds one (see Connection).
    removed = std::move(it->second);
    mConnections.erase(it);
}

void EventLoop::arm(uint64_t id, int fd, bool input) {
    epoll_event event{};
    event.events = input ? kInputEvents : EPOLLRDHUP | EPOLLONESHOT;
    event.data.u64 = dataFor(id, false);
    epoll_ctl(mEpoll.get(), EPOLL_CTL_MOD, fd, &event);
}

void EventLoop::disarm(uint64_t id, int fd) {
    // A one-shot registration without events reports nothing, not even hang-ups.
    epoll_event event{};
    event.events = EPOLLONESHOT;
    event.data.u64 = dataFor(id, false);
    epoll_ctl(mEpoll.get(), EPOLL_CTL_MOD, fd, &event);
}

bool EventLoop::watchWritable(uint64_t id, int writeFd, bool added) {
    epoll_event event{};
    event.events = EPOLLOUT | EPOLLONESHOT;
    event.data.u64 = dataFor(id, true);
    return epoll_ctl(mEpoll.get(), added ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, writeFd, &event) == 0;
}

void EventLoop::signalWork() {
    const uint64_t one = 1;
    // Fails only when the counter is saturated, i.e. already signalled.
    (void)!write(mWorkEvent.get(), &one, sizeof(one));
}

void EventLoop::clearWorkSignal() {
    uint64_t value;
    (void)!read(mWorkEvent.get(), &value, sizeof(value));
    rearmWorkSignal();
}

void EventLoop::rearmWorkSignal() {
    epoll_event event{};
    event.events = EPOLLIN | EPOLLONESHOT;
    event.data.u64 = kWorkSignal;
    epoll_ctl(mEpoll.get(), EPOLL_CTL_MOD, mWorkEvent.get(), &event);
}

std::unique_ptr<Task> EventLoop::handle(uint64_t data, bool binderThread, bool* workSignal) {
    if (data == kWorkSignal) {
        *workSignal = true;
        return nullptr;
    }
    std::shared_ptr<Connection> connection;
    {
        MutexLock lock(mLock);
        auto it = mConnections.find(data >> 1);
        if (it == mConnections.end()) return nullptr;  // closed since the event was reported
        connection = it->second;
    }
    if ((data & kWritable) != 0) {
        connection->onWritable();
        return nullptr;
    }
    return connection->onReadable(binderThread);
}

std::unique_ptr<Task> EventLoop::waitAsBinderThread(bool* workSignal) {
    epoll_event event;
    if (epoll_wait(mEpoll.get(), &event, 1, -1) != 1) return nullptr;
    return handle(event.data.u64, true, workSignal);
}

void EventLoop::loopThread() {
    for (;;) {
        ThreadPool::instance().waitUntilNoIdleThread();
        epoll_event event;
        if (epoll_wait(mEpoll.get(), &event, 1, -1) != 1) continue;
        bool workSignal = false;
        // This thread serves nothing: what it reads goes to the binder threads' queue.
        std::unique_ptr<Task> none = handle(event.data.u64, false, &workSignal);
        if (workSignal) ThreadPool::instance().onWorkSignalOnLoopThread();
    }
}

}  // namespace hostbinder
