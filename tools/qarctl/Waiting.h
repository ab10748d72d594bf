#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace qarctl {

// Blocks SIGINT and SIGTERM in every thread (call first thing in main, before any thread starts)
// and turns their arrival into a flag that waitUntil() notices.
void installInterruptWatch();

// 0, or the exit status for the SIGINT/SIGTERM that arrived (128 + the signal's number). Such a
// signal ends the process on its own after a short bound for undoing listenings.
int interruptStatus();

// The service's death, as the library logged it: ends waitFor() too.
void noteServiceDeath();
bool serviceDied();
void forgetServiceDeath();

// The call-wait bound (--wait-ms) in milliseconds, 0 for none; setWaitForever() lifts it for the
// rest of the run (a --follow listener waits for the service to come back).
void setWaitBound(int64_t ms);
int64_t waitBound();
void setWaitForever();

// Counts events (callbacks) and lets the main thread wait for enough of them, for an interrupt,
// or for a timeout.
class EventCounter {
public:
    void add();
    // Waits until `count` events arrived (0: forever), SIGINT/SIGTERM, the service's death, or
    // `timeout` (zero: none). Returns true when the count was reached.
    bool waitFor(int count, std::chrono::milliseconds timeout);
    int count() const;

private:
    std::atomic<int> mCount{0};
};

}  // namespace qarctl
