#include "Faults.h"

#include <android/binder_status.h>

#include <chrono>

namespace jorvsim {

int32_t Faults::defaultCode(FailKind kind) {
    switch (kind) {
        case FailKind::kException:
            return EX_ILLEGAL_STATE;
        case FailKind::kServiceSpecific:
            return 1;
        case FailKind::kTransport:
            return STATUS_FAILED_TRANSACTION;
    }
    return 0;
}

Faults::Admission Faults::admit(const std::string& op) {
    Lock lock(mLock);
    Admission admission;
    ++mCalls;
    if (mOptions.exitAfter != 0 && mCalls > mOptions.exitAfter) {
        admission.action = Admission::Action::kRefuse;
        admission.kind = FailKind::kTransport;
        admission.code = STATUS_DEAD_OBJECT;
        return admission;
    }
    admission.last = mOptions.exitAfter != 0 && mCalls == mOptions.exitAfter;
    const bool matches = mOptions.failOps.empty() || mOptions.failOps.count(op) != 0;
    if (mFailsLeft > 0 && matches) {
        --mFailsLeft;
        admission.action = Admission::Action::kFail;
        admission.kind = mOptions.failKind;
        admission.code = mOptions.failCode.value_or(defaultCode(mOptions.failKind));
    }
    return admission;
}

void Faults::delayReply() {
    if (mOptions.delayMs == 0) return;
    const auto deadline =
            std::chrono::steady_clock::now() + std::chrono::milliseconds(mOptions.delayMs);
    Lock lock(mLock);
    while (!mStopping && std::chrono::steady_clock::now() < deadline) {
        lock.waitUntil(mInterrupted, deadline);
    }
}

void Faults::interrupt() {
    Lock lock(mLock);
    mStopping = true;
    mInterrupted.notify_all();
}

}  // namespace jorvsim
