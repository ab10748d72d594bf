// Waiting on a condition in tests, with one generous timeout for every suite.
#pragma once

#include <chrono>
#include <thread>

namespace qartest {

// Sanitizer builds on a loaded 2-core host can be very slow: a timeout only bounds how long a
// broken component keeps a test hanging, it never decides a pass.
inline constexpr std::chrono::milliseconds kLongTimeout{30000};

// Polls `pred` until it holds or `timeout` passes; returns its last value.
template <typename Pred>
bool waitFor(Pred&& pred, std::chrono::milliseconds timeout = kLongTimeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!pred()) {
        if (std::chrono::steady_clock::now() >= deadline) return pred();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace qartest
