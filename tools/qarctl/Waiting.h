#pragma once

#include <atomic>
#include <chrono>

namespace qarctl {

// Blocks SIGINT and SIGTERM in every thread (call first thing in main, before any thread starts)
// and turns their arrival into a flag that waitUntil() notices.
void installInterruptWatch();

// Counts events (callbacks) and lets the main thread wait for enough of them, for an interrupt,
// or for a timeout.
class EventCounter {
public:
    void add();
    // Waits until `count` events arrived (0: forever), SIGINT/SIGTERM, or `timeout` (zero: none).
    // Returns true when the count was reached.
    bool waitFor(int count, std::chrono::milliseconds timeout);
    int count() const;

private:
    std::atomic<int> mCount{0};
};

}  // namespace qarctl
