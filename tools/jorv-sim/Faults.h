// Fault injection: how the service misbehaves on purpose, as its command line asks.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "Locking.h"

namespace jorvsim {

enum class FailKind {
    kException,        // an exception status (EX_ILLEGAL_STATE unless a code is given)
    kServiceSpecific,  // a service-specific error (1 unless a code is given)
    kTransport,        // the transaction itself fails (STATUS_FAILED_TRANSACTION unless given)
};

struct FaultOptions {
    uint32_t failNext = 0;  // fail this many calls, the first ones that match failOps
    FailKind failKind = FailKind::kTransport;
    std::optional<int32_t> failCode;
    std::set<std::string> failOps;  // operation names; empty: every operation
    uint32_t delayMs = 0;           // hold every reply this long
    uint32_t exitAfter = 0;         // serve this many calls, then exit; 0: never
    bool omitValues = false;        // answers and callbacks carry no values
};

// What to do with one call. Thread-safe.
class Faults {
public:
    struct Admission {
        enum class Action { kServe, kFail, kRefuse };
        Action action = Action::kServe;
        FailKind kind = FailKind::kTransport;  // for kFail
        int32_t code = 0;                      // exception, service error or transport status
        bool last = false;  // the last call before the service exits (--exit-after)
    };

    explicit Faults(FaultOptions options) : mOptions(std::move(options)) {
        mFailsLeft = mOptions.failNext;
    }

    // Counts the call to `op` and decides its fate. Past --exit-after every call is refused (the
    // service is on its way out).
    Admission admit(const std::string& op) EXCLUDES(mLock);
    bool omitValues() const { return mOptions.omitValues; }
    // Holds the caller for the reply delay, or until interrupt().
    void delayReply() EXCLUDES(mLock);
    // Ends every delay now and later ones at once (the service is stopping).
    void interrupt() EXCLUDES(mLock);

    // The default code of each kind.
    static int32_t defaultCode(FailKind kind);

private:
    const FaultOptions mOptions;
    Mutex mLock;
    std::condition_variable mInterrupted;
    uint32_t mFailsLeft GUARDED_BY(mLock) = 0;
    uint64_t mCalls GUARDED_BY(mLock) = 0;
    bool mStopping GUARDED_BY(mLock) = false;
};

}  // namespace jorvsim
