#include "Simulator.h"

#include <android/binder_manager.h>
#include <hostbinder/control.h>

#include <cstring>

#include "Format.h"

namespace jorvsim {
namespace {

// How long stopping waits for calls in progress (a reply delay is cut short, so only a call
// stuck writing its transcript line could take this long).
constexpr std::chrono::seconds kStopTimeout{10};

std::string serviceDir() {
    const size_t length = HostBinder_getServiceDir(nullptr, 0);
    std::string dir(length + 1, '\0');
    HostBinder_getServiceDir(dir.data(), dir.size());
    dir.resize(length);
    return dir;
}

}  // namespace

Simulator::Simulator(const Options& options, FILE* out, FILE* log, std::function<void()> exitDue)
    : mDeclare(options.declare),
      mTracePath(options.trace),
      mTrace(options.trace.empty() ? nullptr : std::make_unique<Trace>(mClock)),
      mTranscript(out, log, mClock),
      mModel(mClock, options.model, mTrace.get()),
      mFaults(options.faults),
      mGate(std::make_shared<CallGate>()),
      mDispatcher([this](const Notification& n,
                         const ::ndk::ScopedAStatus& status) { reportCallback(n, status); },
                  [this](int32_t handle) { dropRegistration(handle); }),
      mTimer([this] { return mModel.nextExpiry(); },
             [this] {
                 Effects effects;
                 mModel.expireDue(&effects);
                 apply(std::move(effects));
             }) {
    mService = ::ndk::SharedRefBase::make<JorvService>(
            JorvService::Context{mModel, mFaults, mTranscript, mGate,
                                 [this](Effects effects) { apply(std::move(effects)); },
                                 [this] { mTimer.wake(); }, std::move(exitDue)});
}

Simulator::~Simulator() {
    stop();
}

bool Simulator::start(std::string* error) {
    const std::string dir = serviceDir();
    // Publishing replaces a live service of the same name without a word, cutting off its
    // clients: refuse instead.
    ::ndk::SpAIBinder running(AServiceManager_checkService(kInstance));
    if (running.get() != nullptr) {
        *error = std::string(kInstance) + " is already running in " + dir;
        return false;
    }
    // Declared before it is published: a client that finds it declared then waits for it. The
    // manifest (which also creates the directory) declares it to other processes.
    HostBinder_declareInstance(kInstance);
    if (mDeclare) {
        const int err = HostBinder_listInManifest(kInstance);
        if (err != 0) {
            *error = "cannot declare " + std::string(kInstance) + " in " + dir +
                     "/manifest: " + std::strerror(err);
            return false;
        }
    }

    // Streamed from before the first call, so that a run cut short still leaves its timeline.
    if (mTrace != nullptr && !mTrace->stream(mTracePath, error)) return false;
    mDispatcher.start();
    mTimer.start();
    const binder_exception_t published =
            AServiceManager_addService(mService->asBinder().get(), kInstance);
    if (published != EX_NONE) {
        *error = std::string("cannot publish ") + kInstance + " in " + dir + ": " +
                 exceptionName(published);
        return false;
    }
    mPublished = true;
    mTranscript.ready(kInstance, dir);
    return true;
}

bool Simulator::stop() {
    if (mStopped) return true;
    mStopped = true;
    if (mPublished) HostBinder_killService(kInstance);
    mFaults.interrupt();
    mGate->close();
    const bool idle = mGate->waitIdle(kStopTimeout);
    if (!idle) mTranscript.log("a call is still in progress; leaving without cleaning up");
    mTimer.stop();
    if (!mDispatcher.stop()) {
        mTranscript.log("a client's callback has not returned; leaving it behind");
        return false;
    }
    return idle;
}

bool Simulator::finishTrace(std::string* error) {
    if (mTrace == nullptr) return true;
    return mTrace->finish(error);
}

void Simulator::apply(Effects effects) {
    for (const std::string& event : effects.events) mTranscript.event(event);
    for (const std::string& line : effects.log) mTranscript.log(line);
    if (mFaults.omitValues()) {
        for (Notification& n : effects.notifications) omitValues(&n.data);
    }
    mDispatcher.post(std::move(effects.notifications));
    // effects.released drops its callback references on the way out, with no lock held.
}

void Simulator::reportCallback(const Notification& notification,
                               const ::ndk::ScopedAStatus& status) {
    const std::string outcome = formatStatus(status);
    mTranscript.callback(notification.handle, notification.data, outcome);
    if (mTrace != nullptr) {
        mTrace->callback(notification.handle, formatRecords(notification.data) + " -> " + outcome);
    }
    if (status.getExceptionCode() == EX_TRANSACTION_FAILED &&
        status.getStatus() == STATUS_DEAD_OBJECT) {
        dropRegistration(notification.handle);
    }
}

void Simulator::dropRegistration(int32_t handle) {
    Effects effects;
    mModel.forgetRegistration(handle, &effects);
    apply(std::move(effects));
}

}  // namespace jorvsim
