// A timeline of the service's run in the Trace Event JSON format (the object form,
// {"traceEvents": [...]}) that trace viewers open.
//
// Tracks: the service itself (pid = the service's pid, "jorv-sim") carries the counters, one per
// resource with its effective value, and the instants that belong to no client (rule switches,
// thermal levels, callbacks of unknown registrations). Each client process gets a track of its
// own (pid = the calling pid, "client <pid>") with a slice per request, from acquire to release
// or expiry, and its instants (notifications, callbacks, deaths).
//
// Kept in memory (json()) or streamed to a file (stream()): each event is written as it happens,
// one line each, so a service killed without warning still leaves its timeline behind. Such a
// file lacks only its closing "]}" and the slices still open; finish() writes them at a clean
// stop. Timestamps count from the trace's start, whose steady-clock time is "origin_us", so that
// the files of several runs can be put on one timeline (merge-traces.py).
//
// Up to a cap of events are kept; past it newer ones are counted and dropped, and the count is
// written as metadata. Slices still open at the end end at that moment.
#pragma once

#include <android-base/unique_fd.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Clock.h"
#include "Locking.h"
#include "ResourceKey.h"

namespace jorvsim {

class Trace {
public:
    static constexpr size_t kDefaultCapacity = 1000000;

    explicit Trace(const Clock& clock, size_t capacity = kDefaultCapacity);
    Trace(const Trace&) = delete;
    Trace& operator=(const Trace&) = delete;

    // A request became active: a slice on its client's track named `name` opens.
    void begin(int32_t handle, pid_t pid, const std::string& name) EXCLUDES(mLock);
    // The request `handle` ended `at` (a request that expired ends when its time was up, even if
    // that is noticed later); `how` is "released" or "expired".
    void end(int32_t handle, const char* how, TimePoint at) EXCLUDES(mLock);
    // A registration (listening, thermal) made by `pid`: its callbacks go on that client's track.
    void registration(int32_t handle, pid_t pid) EXCLUDES(mLock);
    // A resource's effective value changed; absent once nobody sets it.
    void value(const ResourceKey& key, const std::optional<std::string>& value) EXCLUDES(mLock);
    // A happening at this moment on `pid`'s track (0: the service's own), with one detail.
    void instant(pid_t pid, const std::string& name, const std::string& detail) EXCLUDES(mLock);
    // A callback made on behalf of `handle`, on the track of the client it belongs to.
    void callback(int32_t handle, const std::string& detail) EXCLUDES(mLock);
    // The registration `handle` was dropped because its process died.
    void death(int32_t handle, const std::string& detail) EXCLUDES(mLock);

    // Streams every event from now on to `path`, starting with the file's head; false with the
    // reason when the file cannot be written.
    bool stream(const std::string& path, std::string* error) EXCLUDES(mLock);
    // Ends a streamed file: the slices still open and the closing text. False with the reason
    // when it cannot be written.
    bool finish(std::string* error) EXCLUDES(mLock);
    // The whole text of a trace kept in memory, open slices ended now.
    std::string json() const EXCLUDES(mLock);

private:
    struct Open {
        int32_t handle = -1;
        pid_t pid = 0;
        std::string name;
        TimePoint start;
    };

    int64_t micros(TimePoint at) const;
    std::string headLocked() const REQUIRES(mLock);
    // The head, the clients' track names and the events kept in memory so far.
    std::string bodyLocked() const REQUIRES(mLock);
    std::string tailLocked() const REQUIRES(mLock);
    // Names the track of a client seen for the first time.
    void noteClientLocked(pid_t pid) REQUIRES(mLock);
    void addLocked(pid_t pid, std::string event) REQUIRES(mLock);
    void writeLocked(const std::string& text) REQUIRES(mLock);
    pid_t ownerLocked(int32_t handle) const REQUIRES(mLock);
    std::string sliceLocked(const Open& open, TimePoint end, const char* how) const REQUIRES(mLock);
    std::string instantLocked(pid_t pid, const std::string& name, const std::string& detail) const
            REQUIRES(mLock);

    const Clock& mClock;
    const TimePoint mOrigin;
    const size_t mCapacity;
    const pid_t mSelf;
    mutable Mutex mLock;
    std::vector<std::string> mEvents GUARDED_BY(mLock);  // each one JSON object
    std::set<pid_t> mClients GUARDED_BY(mLock);          // the tracks to name
    std::map<int32_t, Open> mOpen GUARDED_BY(mLock);
    std::map<int32_t, pid_t> mOwners GUARDED_BY(mLock);
    size_t mKept GUARDED_BY(mLock) = 0;
    size_t mDropped GUARDED_BY(mLock) = 0;
    android::base::unique_fd mFile GUARDED_BY(mLock);  // when streamed
    int mWriteError GUARDED_BY(mLock) = 0;             // the first failed write's errno
};

}  // namespace jorvsim
