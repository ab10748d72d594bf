#include "Expiry.h"

#include <algorithm>

namespace jorvsim {

std::optional<TimePoint> expiryFor(TimePoint start, int64_t durationMs) {
    if (durationMs <= 0) return std::nullopt;
    return start + std::min(Millis(durationMs), kMaxDuration);
}

void ExpiryQueue::add(int32_t handle, TimePoint expiry) {
    remove(handle);
    mByTime.emplace(expiry, handle);
    mByHandle.emplace(handle, expiry);
}

void ExpiryQueue::remove(int32_t handle) {
    auto it = mByHandle.find(handle);
    if (it == mByHandle.end()) return;
    auto [first, last] = mByTime.equal_range(it->second);
    for (auto entry = first; entry != last; ++entry) {
        if (entry->second == handle) {
            mByTime.erase(entry);
            break;
        }
    }
    mByHandle.erase(it);
}

std::vector<int32_t> ExpiryQueue::takeDue(TimePoint now) {
    std::vector<int32_t> due;
    while (!mByTime.empty() && mByTime.begin()->first <= now) {
        const int32_t handle = mByTime.begin()->second;
        mByTime.erase(mByTime.begin());
        mByHandle.erase(handle);
        due.push_back(handle);
    }
    return due;
}

std::optional<TimePoint> ExpiryQueue::next() const {
    if (mByTime.empty()) return std::nullopt;
    return mByTime.begin()->first;
}

std::vector<std::pair<TimePoint, int32_t>> ExpiryQueue::pending() const {
    return {mByTime.begin(), mByTime.end()};
}

}  // namespace jorvsim
