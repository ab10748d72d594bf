// What the service prints. Standard output gets one line per happening, for people and scripts:
//
//   ready t=0.004 pid=4242 instance=... dir=/tmp/x
//   call t=1.250 #3 pid=4301 request {type=1(resource) data=[...] ...} -> ok 2
//   call t=1.300 #4 pid=4301 release(2) -> ok 0
//   callback t=1.251 handle=1 [{id=0x40800000 value="1200"}] -> ok
//   event t=3.250 expired handle=2 type=resource pid=4301
//   exit t=9.000 status=0 reason=SIGTERM
//
// The first word says what the line is; t= is seconds since the start. Standard error gets the
// service log (diagnostic tables and notices), each line prefixed "jorv-sim: ".
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "Clock.h"
#include "Locking.h"
#include "ModelTypes.h"

namespace jorvsim {

class Transcript {
public:
    Transcript(FILE* out, FILE* log, const Clock& clock);
    Transcript(const Transcript&) = delete;
    Transcript& operator=(const Transcript&) = delete;

    void ready(const std::string& instance, const std::string& dir) EXCLUDES(mLock);
    // A transaction received: `args` is the decoded input, `result` the answer ("ok 3",
    // "error ...", "fault ...").
    void call(uint64_t seq, pid_t pid, const char* op, const std::string& args,
              const std::string& result) EXCLUDES(mLock);
    void callback(int32_t handle, const DataList& data, const std::string& result) EXCLUDES(mLock);
    void event(const std::string& text) EXCLUDES(mLock);
    void exit(int status, const std::string& reason) EXCLUDES(mLock);
    void log(const std::string& line) EXCLUDES(mLock);

private:
    void line(FILE* stream, const std::string& text) EXCLUDES(mLock);
    std::string stamp() const;

    FILE* const mOut;
    FILE* const mLog;
    const Clock& mClock;
    const TimePoint mOrigin;
    // Keeps lines from different threads whole and in the order they were written.
    Mutex mLock;
};

}  // namespace jorvsim
