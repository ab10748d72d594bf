#include "Waiting.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <thread>

namespace qarctl {

namespace {

std::atomic<bool> gInterrupted{false};
std::atomic<int> gSignal{0};
std::atomic<bool> gServiceDied{false};
std::atomic<int64_t> gWaitBound{5000};
// How long an interrupted command may take to undo its listenings before the process ends.
constexpr std::chrono::milliseconds kUndoBound{500};
std::mutex gCountersMutex;

// Shared by every counter so that the signal thread can wake whichever one the main thread waits
// on.
std::condition_variable& wakeAll() {
    static std::condition_variable cond;
    return cond;
}

}  // namespace

void installInterruptWatch() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    std::thread([set] {
        int signal = 0;
        sigwait(&set, &signal);
        gSignal = signal;
        gInterrupted = true;
        {
            std::lock_guard<std::mutex> lock(gCountersMutex);
            wakeAll().notify_all();
        }
        // The main thread ends its listenings and leaves with interruptStatus(); a call that
        // waits for the service, or an unregistration the dead service never answers, does not
        // get to, so leave without it.
        std::this_thread::sleep_for(kUndoBound);
        fflush(stdout);
        fflush(stderr);
        _exit(128 + signal);
    }).detach();
}

int interruptStatus() {
    return gInterrupted ? 128 + gSignal : 0;
}

void noteServiceDeath() {
    gServiceDied = true;
    std::lock_guard<std::mutex> lock(gCountersMutex);
    wakeAll().notify_all();
}

bool serviceDied() {
    return gServiceDied;
}

void forgetServiceDeath() {
    gServiceDied = false;
}

void setWaitBound(int64_t ms) {
    gWaitBound = ms;
}

int64_t waitBound() {
    return gWaitBound;
}

void setWaitForever() {
    gWaitBound = 0;
}

void EventCounter::add() {
    ++mCount;
    std::lock_guard<std::mutex> lock(gCountersMutex);
    wakeAll().notify_all();
}

int EventCounter::count() const {
    return mCount;
}

bool EventCounter::waitFor(int count, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    std::unique_lock<std::mutex> lock(gCountersMutex);
    auto reached = [&] { return count > 0 && this->count() >= count; };
    auto done = [&] { return reached() || gInterrupted || gServiceDied; };
    if (timeout.count() > 0) {
        wakeAll().wait_until(lock, deadline, done);
    } else {
        wakeAll().wait(lock, done);
    }
    if (!reached()) return false;
    // The callback that completed the count is counted before it has returned: its reply to the
    // service still has to leave through this process's binder thread. The process may end right
    // after this, so give the reply a moment; otherwise the service sees this process die under
    // its call.
    lock.unlock();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    return true;
}

}  // namespace qarctl
