#include "Trace.h"

#include <android-base/file.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Format.h"

namespace jorvsim {
namespace {

// A value as a number when the whole text is one: decimal or 0x-prefixed integers, or decimals.
std::optional<double> numberOf(const std::string& text) {
    if (text.empty()) return std::nullopt;
    const char* begin = text.c_str();
    char* end = nullptr;
    errno = 0;
    const long long integer = std::strtoll(begin, &end, 0);
    if (errno == 0 && *end == '\0') return static_cast<double>(integer);
    errno = 0;
    const double real = std::strtod(begin, &end);
    if (errno == 0 && *end == '\0' && std::isfinite(real)) return real;
    return std::nullopt;
}

std::string jsonNumber(double value) {
    if (std::trunc(value) == value && std::fabs(value) < 1e15) {
        return std::to_string(static_cast<long long>(value));
    }
    char text[32];
    std::snprintf(text, sizeof(text), "%.17g", value);
    return text;
}

std::string counterName(const ResourceKey& key) {
    return key.isPath() ? "path " + key.path : "resource " + formatId(key.id);
}

std::string header(const char* ph, const std::string& name, pid_t pid, int64_t ts) {
    return "{\"ph\":\"" + std::string(ph) + "\",\"name\":" + jsonString(name) +
           ",\"pid\":" + std::to_string(pid) + ",\"tid\":" + std::to_string(pid) +
           ",\"ts\":" + std::to_string(ts);
}

std::string processName(pid_t pid, const std::string& name) {
    return "{\"ph\":\"M\",\"name\":\"process_name\",\"pid\":" + std::to_string(pid) +
           ",\"tid\":" + std::to_string(pid) + ",\"args\":{\"name\":" + jsonString(name) + "}}";
}

}  // namespace

Trace::Trace(const Clock& clock, size_t capacity)
    : mClock(clock), mOrigin(clock.now()), mCapacity(capacity), mSelf(getpid()) {}

int64_t Trace::micros(TimePoint at) const {
    return std::chrono::duration_cast<std::chrono::microseconds>(at - mOrigin).count();
}

std::string Trace::headLocked() const {
    const int64_t origin =
            std::chrono::duration_cast<std::chrono::microseconds>(mOrigin.time_since_epoch())
                    .count();
    return "{\"displayTimeUnit\":\"ms\",\"origin_us\":" + std::to_string(origin) +
           ",\"traceEvents\":[\n" + processName(mSelf, "jorv-sim");
}

std::string Trace::bodyLocked() const {
    std::string out = headLocked();
    for (const pid_t pid : mClients) {
        out += ",\n" + processName(pid, "client " + std::to_string(pid));
    }
    for (const std::string& event : mEvents) out += ",\n" + event;
    return out;
}

std::string Trace::tailLocked() const {
    std::string out;
    const TimePoint now = mClock.now();
    for (const auto& entry : mOpen) out += ",\n" + sliceLocked(entry.second, now, "stop");
    return out + "\n],\"otherData\":{\"capacity\":" + std::to_string(mCapacity) +
           ",\"dropped\":" + std::to_string(mDropped) + "}}\n";
}

void Trace::noteClientLocked(pid_t pid) {
    if (pid == mSelf || !mClients.insert(pid).second) return;
    if (mFile.ok()) writeLocked(",\n" + processName(pid, "client " + std::to_string(pid)));
}

void Trace::addLocked(pid_t pid, std::string event) {
    noteClientLocked(pid);
    if (mKept >= mCapacity) {
        ++mDropped;
        return;
    }
    ++mKept;
    if (mFile.ok()) {
        writeLocked(",\n" + event);
    } else {
        mEvents.push_back(std::move(event));
    }
}

// One write per event: what was written survives the process's sudden end.
void Trace::writeLocked(const std::string& text) {
    if (mWriteError != 0) return;
    errno = 0;
    if (!android::base::WriteStringToFd(text, mFile)) mWriteError = errno != 0 ? errno : EIO;
}

bool Trace::stream(const std::string& path, std::string* error) {
    Lock lock(mLock);
    mFile.reset(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (!mFile.ok()) {
        *error = "cannot write the trace to " + path + ": " + std::strerror(errno);
        return false;
    }
    writeLocked(bodyLocked());
    mEvents.clear();
    if (mWriteError == 0) return true;
    *error = "cannot write the trace to " + path + ": " + std::strerror(mWriteError);
    return false;
}

bool Trace::finish(std::string* error) {
    Lock lock(mLock);
    if (!mFile.ok()) return true;
    writeLocked(tailLocked());
    mOpen.clear();
    if (mWriteError == 0 && close(mFile.release()) != 0) mWriteError = errno;
    mFile.reset();
    if (mWriteError == 0) return true;
    *error = std::string("cannot write the trace: ") + std::strerror(mWriteError);
    return false;
}

pid_t Trace::ownerLocked(int32_t handle) const {
    const auto owner = mOwners.find(handle);
    return owner == mOwners.end() ? mSelf : owner->second;
}

void Trace::begin(int32_t handle, pid_t pid, const std::string& name) {
    Lock lock(mLock);
    mOpen[handle] = Open{handle, pid, name, mClock.now()};
    mOwners[handle] = pid;
    noteClientLocked(pid);
}

void Trace::end(int32_t handle, const char* how, TimePoint at) {
    Lock lock(mLock);
    const auto open = mOpen.find(handle);
    if (open == mOpen.end()) return;
    const pid_t pid = open->second.pid;
    addLocked(pid, sliceLocked(open->second, std::max(at, open->second.start), how));
    mOpen.erase(open);
}

void Trace::registration(int32_t handle, pid_t pid) {
    Lock lock(mLock);
    mOwners[handle] = pid;
}

std::string Trace::sliceLocked(const Open& open, TimePoint end, const char* how) const {
    const int64_t start = micros(open.start);
    return header("X", open.name, open.pid, start) +
           ",\"cat\":\"request\",\"dur\":" + std::to_string(micros(end) - start) +
           ",\"args\":{\"handle\":" + std::to_string(open.handle) + ",\"end\":" + jsonString(how) +
           "}}";
}

std::string Trace::instantLocked(pid_t pid, const std::string& name,
                                 const std::string& detail) const {
    return header("i", name, pid, micros(mClock.now())) +
           ",\"s\":\"t\",\"args\":{\"detail\":" + jsonString(detail) + "}}";
}

void Trace::value(const ResourceKey& key, const std::optional<std::string>& value) {
    Lock lock(mLock);
    const std::string name = counterName(key);
    // A counter carries numbers only: a value that is not one goes on the service's track as an
    // instant with the text, and its counter keeps its last number.
    const std::optional<double> number = value.has_value() ? numberOf(*value) : 0.0;
    if (!number.has_value()) {
        addLocked(mSelf, instantLocked(mSelf, name + " = " + *value, *value));
        return;
    }
    addLocked(mSelf, header("C", name, mSelf, micros(mClock.now())) +
                             ",\"args\":{\"value\":" + jsonNumber(*number) + "}}");
}

void Trace::instant(pid_t pid, const std::string& name, const std::string& detail) {
    Lock lock(mLock);
    const pid_t track = pid == 0 ? mSelf : pid;
    addLocked(track, instantLocked(track, name, detail));
}

void Trace::callback(int32_t handle, const std::string& detail) {
    Lock lock(mLock);
    const pid_t track = ownerLocked(handle);
    addLocked(track, instantLocked(track, "callback handle=" + std::to_string(handle), detail));
}

void Trace::death(int32_t handle, const std::string& detail) {
    Lock lock(mLock);
    const pid_t track = ownerLocked(handle);
    addLocked(track, instantLocked(track, "death handle=" + std::to_string(handle), detail));
}

std::string Trace::json() const {
    Lock lock(mLock);
    return bodyLocked() + tailLocked();
}

}  // namespace jorvsim
