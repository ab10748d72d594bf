#define LOG_TAG "[QAR_CLIENT]"

#include <fcntl.h>
#include <log/log.h>
#include <unistd.h>

#include <cstdint>

#include "QarEventApi.h"

namespace {

// Closes the descriptor it holds when it goes out of scope.
class ScopedFd {
public:
    explicit ScopedFd(int fd) : mFd(fd) {}
    ~ScopedFd() {
        if (mFd >= 0) close(mFd);
    }
    ScopedFd(const ScopedFd&) = delete;
    ScopedFd& operator=(const ScopedFd&) = delete;
    int get() const { return mFd; }

private:
    int mFd;
};

}  // namespace

int32_t qarGetRandomHandle() {
    uint32_t value = 0;
    // Opened per call rather than cached: callers are few and short-lived, and a cached descriptor
    // would be one more thing to share between threads and to lose across fork.
    ScopedFd fd(TEMP_FAILURE_RETRY(open("/dev/urandom", O_RDONLY | O_CLOEXEC)));
    if (fd.get() < 0) {
        ALOGE("qarClient open /dev/urandom failed: fd(%d) \n", fd.get());
        return -1;
    }
    const ssize_t length = TEMP_FAILURE_RETRY(read(fd.get(), &value, sizeof(value)));
    if (length != static_cast<ssize_t>(sizeof(value))) {
        ALOGE("qarClient read /dev/urandom failed,len(%d) \n", static_cast<int>(length));
        return -1;
    }
    // Never negative, so that -1 stays free to mean failure.
    return static_cast<int32_t>(value & 0x7fffffffu);
}
