// When requests end by themselves.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "Clock.h"

namespace jorvsim {

// Durations beyond this count as this long: a year outlives any session, and it keeps the sum
// with the clock's time far from overflowing.
inline constexpr Millis kMaxDuration{365LL * 24 * 3600 * 1000};

// The expiry of a request started at `start` that asked for `durationMs` milliseconds: none when
// the duration is 0 or negative (the request lasts until released).
std::optional<TimePoint> expiryFor(TimePoint start, int64_t durationMs);

// The requests that end by themselves, soonest first.
class ExpiryQueue {
public:
    void add(int32_t handle, TimePoint expiry);
    void remove(int32_t handle);
    // Removes and returns the handles due at `now` (expiry at or before it), soonest first.
    std::vector<int32_t> takeDue(TimePoint now);
    std::optional<TimePoint> next() const;
    // Every pending expiry, soonest first.
    std::vector<std::pair<TimePoint, int32_t>> pending() const;

private:
    std::multimap<TimePoint, int32_t> mByTime;
    std::map<int32_t, TimePoint> mByHandle;
};

}  // namespace jorvsim
