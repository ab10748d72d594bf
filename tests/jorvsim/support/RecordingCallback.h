// An IJorvCallback that records what it is called with.
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
    ::ndk::ScopedAStatus onCallback(const jorvsim::DataList& data) override {
        std::lock_guard<std::mutex> lock(mMutex);
        mCalls.push_back(data);
        mCalled.notify_all();
        return ::ndk::ScopedAStatus::ok();
    }

    std::vector<jorvsim::DataList> calls() const {
        std::lock_guard<std::mutex> lock(mMutex);
        return mCalls;
    }

    // True once at least `count` calls arrived.
    bool waitForCalls(size_t count, std::chrono::milliseconds timeout) const {
        std::unique_lock<std::mutex> lock(mMutex);
        return mCalled.wait_for(lock, timeout, [&] { return mCalls.size() >= count; });
    }

private:
    mutable std::mutex mMutex;
    mutable std::condition_variable mCalled;
    std::vector<jorvsim::DataList> mCalls;
};

// Records its calls, and blocks in each one until released.
class HungCallback : public RecordingCallback {
public:
    ::ndk::ScopedAStatus onCallback(const jorvsim::DataList& data) override {
        RecordingCallback::onCallback(data);
        std::unique_lock<std::mutex> lock(mMutex);
        mReleased.wait(lock, [this] { return mFree; });
        return ::ndk::ScopedAStatus::ok();
    }
    void release() {
        std::lock_guard<std::mutex> lock(mMutex);
        mFree = true;
        mReleased.notify_all();
    }

private:
    std::mutex mMutex;
    std::condition_variable mReleased;
    bool mFree = false;
};

}  // namespace jorvsimtest
