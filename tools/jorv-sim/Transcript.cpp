#include "Transcript.h"

#include <unistd.h>

#include "Format.h"

namespace jorvsim {

Transcript::Transcript(FILE* out, FILE* log, const Clock& clock)
    : mOut(out), mLog(log), mClock(clock), mOrigin(clock.now()) {}

std::string Transcript::stamp() const {
    return "t=" + formatSeconds(mClock.now() - mOrigin);
}

void Transcript::line(FILE* stream, const std::string& text) {
    Lock lock(mLock);
    // A reader that went away must not take the service with it (SIGPIPE is ignored), so write
    // errors are not reported.
    std::fputs(text.c_str(), stream);
    std::fputc('\n', stream);
    std::fflush(stream);
}

void Transcript::ready(const std::string& instance, const std::string& dir) {
    line(mOut, "ready " + stamp() + " pid=" + std::to_string(getpid()) + " instance=" + instance +
                       " dir=" + dir);
}

void Transcript::call(uint64_t seq, pid_t pid, const char* op, const std::string& args,
                      const std::string& result) {
    // Scalar arguments read as a call, release(3); a parcel follows its operation's name.
    const char* gap = !args.empty() && args[0] == '(' ? "" : " ";
    line(mOut, "call " + stamp() + " #" + std::to_string(seq) + " pid=" + std::to_string(pid) +
                       " " + op + gap + args + " -> " + result);
}

void Transcript::callback(int32_t handle, const DataList& data, const std::string& result) {
    line(mOut, "callback " + stamp() + " handle=" + std::to_string(handle) + " " +
                       formatRecords(data) + " -> " + result);
}

void Transcript::event(const std::string& text) {
    line(mOut, "event " + stamp() + " " + text);
}

void Transcript::exit(int status, const std::string& reason) {
    line(mOut, "exit " + stamp() + " status=" + std::to_string(status) + " reason=" + reason);
}

void Transcript::log(const std::string& text) {
    line(mLog, "jorv-sim: " + text);
}

}  // namespace jorvsim
