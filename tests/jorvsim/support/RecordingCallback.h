// An IJorvCallback that records what it is called with; a hung one also blocks in each call
// until released.
#pragma once

#include <aidl/vendor/vemra/hardware/jorv/BnJorvCallback.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

#include "ModelTypes.h"

namespace jorvsimtest {

class RecordingCallback : public ::aidl::vendor::vemra::hardware::jorv::BnJorvCallback {
public:
    explicit RecordingCallback(bool hung = false) : mHung(hung) {}

    ::ndk::ScopedAStatus onCallback(const jorvsim::DataList& data) override {
        std::unique_lock<std::mutex> lock(mMutex);
        mCalls.push_back(data);
        mChanged.notify_all();
        mChanged.wait(lock, [this] { return !mHung; });
        return ::ndk::ScopedAStatus::ok();
    }

    std::vector<jorvsim::DataList> calls() const {
        std::lock_guard<std::mutex> lock(mMutex);
        return mCalls;
    }

    // True once at least `count` calls arrived.
    bool waitForCalls(size_t count, std::chrono::milliseconds timeout) const {
        std::unique_lock<std::mutex> lock(mMutex);
        return mChanged.wait_for(lock, timeout, [&] { return mCalls.size() >= count; });
    }

    // Lets a hung callback's calls return, now and later.
    void release() {
        std::lock_guard<std::mutex> lock(mMutex);
        mHung = false;
        mChanged.notify_all();
    }

private:
    mutable std::mutex mMutex;
    mutable std::condition_variable mChanged;
    std::vector<jorvsim::DataList> mCalls;
    bool mHung;
};

}  // namespace jorvsimtest
