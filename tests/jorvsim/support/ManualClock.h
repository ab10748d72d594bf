// A clock that moves only when a test moves it, so expiry is tested without sleeping.
#pragma once

#include "Clock.h"

namespace jorvsimtest {

class ManualClock final : public jorvsim::Clock {
public:
    jorvsim::TimePoint now() const override { return mNow; }
    void advance(jorvsim::Millis step) { mNow += step; }

private:
    // Any starting point will do; this one is far from the clock's epoch.
    jorvsim::TimePoint mNow{std::chrono::hours(24)};
};

}  // namespace jorvsimtest
