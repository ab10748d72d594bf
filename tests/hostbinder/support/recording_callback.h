// A client-side IJorvCallback that records every delivery: the data, the serving thread and the
// calling pid, so tests can check where and from whom a callback arrived.
#pragma once

#include <aidl/vendor/vemra/hardware/jorv/BnJorvCallback.h>
#include <android/binder_ibinder.h>
#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "support/echo_jorv.h"

namespace hbtest {

class RecordingCallback : public jorv::BnJorvCallback {
public:
    struct Delivery {
        std::vector<jorv::JorvRequestData> data;
        std::thread::id thread;
        pid_t callingPid = 0;
    };

    // Runs inside onCallback after the delivery is recorded (e.g. to block or call back).
    using Hook = std::function<ndk::ScopedAStatus(const std::vector<jorv::JorvRequestData>&)>;
    void setHook(Hook hook) {
        std::lock_guard<std::mutex> lock(mu_);
        hook_ = std::move(hook);
    }

    ndk::ScopedAStatus onCallback(const std::vector<jorv::JorvRequestData>& data) override {
        Hook hook;
        {
            std::lock_guard<std::mutex> lock(mu_);
            deliveries_.push_back({data, std::this_thread::get_id(), AIBinder_getCallingPid()});
            hook = hook_;
        }
        return hook ? hook(data) : ndk::ScopedAStatus::ok();
    }

    size_t count() const {
        std::lock_guard<std::mutex> lock(mu_);
        return deliveries_.size();
    }
    std::vector<Delivery> deliveries() const {
        std::lock_guard<std::mutex> lock(mu_);
        return deliveries_;
    }

private:
    mutable std::mutex mu_;
    std::vector<Delivery> deliveries_;
    Hook hook_;
};

// A latch a test opens to let blocked hooks continue.
class Gate {
public:
    void open() {
        std::lock_guard<std::mutex> lock(mu_);
        open_ = true;
        cv_.notify_all();
    }
    // Waits until opened; false after `timeout`.
    bool wait(std::chrono::milliseconds timeout) {
        std::unique_lock<std::mutex> lock(mu_);
        return cv_.wait_for(lock, timeout, [this] { return open_; });
    }

private:
    std::mutex mu_;
    std::condition_variable cv_;
    bool open_ = false;
};

}  // namespace hbtest
