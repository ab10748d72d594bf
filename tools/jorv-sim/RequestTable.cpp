#include "RequestTable.h"

namespace jorvsim {

void RequestTable::add(ActiveRequest request) {
    const int32_t handle = request.handle;
    if (request.expiry.has_value()) {
        mExpiries.add(handle, *request.expiry);
    } else {
        mExpiries.remove(handle);
    }
    mRequests[handle] = std::move(request);
}

std::optional<ActiveRequest> RequestTable::remove(int32_t handle) {
    auto it = mRequests.find(handle);
    if (it == mRequests.end()) return std::nullopt;
    ActiveRequest request = std::move(it->second);
    mRequests.erase(it);
    mExpiries.remove(handle);
    return request;
}

std::vector<ActiveRequest> RequestTable::takeExpired(TimePoint now) {
    std::vector<ActiveRequest> expired;
    for (const int32_t handle : mExpiries.takeDue(now)) {
        auto it = mRequests.find(handle);
        if (it == mRequests.end()) continue;
        expired.push_back(std::move(it->second));
        mRequests.erase(it);
    }
    return expired;
}

}  // namespace jorvsim
