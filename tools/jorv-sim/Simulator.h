// The reference service put together: model, binder glue, callback and expiry threads, and their
// orderly start and stop. The command-line front end (main.cpp) drives it.
#pragma once

#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>

#include "CallGate.h"
#include "CallbackDispatcher.h"
#include "Clock.h"
#include "ExpiryTimer.h"
#include "Faults.h"
#include "JorvService.h"
#include "Model.h"
#include "Options.h"
#include "Trace.h"
#include "Transcript.h"

namespace jorvsim {

inline constexpr const char kInstance[] = "vendor.vemra.hardware.jorv.IJorv/default";

class Simulator {
public:
    // `exitDue` is called (on a binder thread) after the last call --exit-after allows.
    Simulator(const Options& options, FILE* out, FILE* log, std::function<void()> exitDue);
    ~Simulator();
    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;

    // Declares the instance, publishes the service and prints the ready line. False, with the
    // reason, when it cannot (another one is running in the directory, say). The service's calls
    // are served on the process's binder threads, which the caller starts.
    bool start(std::string* error);
    // Stops serving: clients see the service die, calls in progress end, threads stop. False
    // when a call is still in progress after a long wait, or a client's callback has not returned
    // within the dispatcher's stop bound: the process must then end without destroying the state
    // they may use. Idempotent.
    bool stop();
    // True once no call is in progress (waiting up to `timeout`).
    bool waitIdle(std::chrono::milliseconds timeout) { return mGate->waitIdle(timeout); }

    Transcript& transcript() { return mTranscript; }
    // Ends the --trace file, if one was asked for (its events were written as they happened);
    // false with the reason when it cannot be written. Meant for after stop().
    bool finishTrace(std::string* error);

private:
    // Carries out what a model call left to do, outside the model's lock.
    void apply(Effects effects);
    void reportCallback(const Notification& notification, const ::ndk::ScopedAStatus& status);
    // Ends a registration whose callback is dead or stuck.
    void dropRegistration(int32_t handle);

    const bool mDeclare;
    SteadyClock mClock;
    const std::string mTracePath;
    std::unique_ptr<Trace> mTrace;  // null without --trace
    Transcript mTranscript;
    Model mModel;
    Faults mFaults;
    std::shared_ptr<CallGate> mGate;
    CallbackDispatcher mDispatcher;
    ExpiryTimer mTimer;
    std::shared_ptr<JorvService> mService;
    bool mPublished = false;  // owner's thread only
    bool mStopped = false;    // owner's thread only
};

}  // namespace jorvsim
