// Where the model reads the time.
#pragma once

#include <chrono>

namespace jorvsim {

using TimePoint = std::chrono::steady_clock::time_point;
using Millis = std::chrono::milliseconds;

// Monotonic, so that a change of the wall clock never ends a request early or late. Tests
// substitute a clock they move by hand, so expiry is checked without sleeping.
class Clock {
public:
    virtual ~Clock() = default;
    virtual TimePoint now() const = 0;
};

class SteadyClock final : public Clock {
public:
    TimePoint now() const override { return std::chrono::steady_clock::now(); }
};

}  // namespace jorvsim
