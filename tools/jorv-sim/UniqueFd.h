// Owns a file descriptor and closes it.
#pragma once

#include <unistd.h>

#include <utility>

namespace jorvsim {

class UniqueFd {
public:
    explicit UniqueFd(int fd = -1) : mFd(fd) {}
    ~UniqueFd() { reset(); }
    UniqueFd(UniqueFd&& other) noexcept : mFd(std::exchange(other.mFd, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        if (this != &other) {
            reset();
            mFd = std::exchange(other.mFd, -1);
        }
        return *this;
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;

    int get() const { return mFd; }
    bool ok() const { return mFd >= 0; }
    void reset() {
        if (mFd >= 0) close(mFd);
        mFd = -1;
    }

private:
    int mFd;
};

}  // namespace jorvsim
