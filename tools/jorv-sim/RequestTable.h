// The requests the service is carrying out.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Clock.h"
#include "Expiry.h"
#include "ModelTypes.h"

namespace jorvsim {

struct ActiveRequest {
    int32_t handle = -1;
    int32_t type = 0;                // the requestType it came with
    std::optional<int32_t> command;  // an event's command id or a scene action's id
    DataList resources;              // as sent, without an event's leading command entry
    pid_t pid = 0;                   // the calling process
    TimePoint start;
    std::optional<TimePoint> expiry;  // none: until released
    std::optional<std::string> package;
    std::optional<std::string> identity;
    bool oneway = false;
};

// Active requests by handle, with their expiries.
class RequestTable {
public:
    bool contains(int32_t handle) const { return mRequests.count(handle) != 0; }
    // Replaces a request with the same handle.
    void add(ActiveRequest request);
    std::optional<ActiveRequest> remove(int32_t handle);
    // Removes and returns the requests whose time is up at `now`, soonest first.
    std::vector<ActiveRequest> takeExpired(TimePoint now);
    std::optional<TimePoint> nextExpiry() const { return mExpiries.next(); }

    const std::map<int32_t, ActiveRequest>& all() const { return mRequests; }
    const ExpiryQueue& expiries() const { return mExpiries; }

private:
    std::map<int32_t, ActiveRequest> mRequests;
    ExpiryQueue mExpiries;
};

}  // namespace jorvsim
