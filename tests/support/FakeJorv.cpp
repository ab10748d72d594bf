#include "FakeJorv.h"

#include <utility>

namespace qartest {
::ndk::ScopedAStatus FakeJorv::toStatus(const Answer& answer) {
    switch (answer.kind) {
        case Answer::Kind::kOk:
            return ::ndk::ScopedAStatus::ok();
        case Answer::Kind::kException:
            return ::ndk::ScopedAStatus::fromExceptionCode(answer.code);
        case Answer::Kind::kServiceSpecific:
            return ::ndk::ScopedAStatus::fromServiceSpecificError(answer.code);
        case Answer::Kind::kTransport:
            return ::ndk::ScopedAStatus::fromStatus(answer.code);
    }
    return ::ndk::ScopedAStatus::ok();
}

void FakeJorv::setDefault(const std::string& op, Answer answer) {
    std::lock_guard<std::mutex> lock(mMutex);
    mDefaults[op] = std::move(answer);
}

void FakeJorv::enqueue(const std::string& op, Answer answer) {
    std::lock_guard<std::mutex> lock(mMutex);
    mQueued[op].push_back(std::move(answer));
}

void FakeJorv::holdCalls(bool hold, const std::string& op) {
    std::lock_guard<std::mutex> lock(mMutex);
    mHold = hold;
    mHeldOp = op;
    mCond.notify_all();
}

void FakeJorv::setRecording(bool recording) {
    std::lock_guard<std::mutex> lock(mMutex);
    mRecording = recording;
}

void FakeJorv::setDelay(std::chrono::milliseconds delay) {
    std::lock_guard<std::mutex> lock(mMutex);
    mDelay = delay;
    mCond.notify_all();
}

void FakeJorv::failEvery(int n, Answer failure) {
    std::lock_guard<std::mutex> lock(mMutex);
    mFailEvery = n;
    mFailCount = 0;
    mFailure = std::move(failure);
}

void FakeJorv::setScript(Script script) {
    std::lock_guard<std::mutex> lock(mMutex);
    mScript = std::move(script);
    mAnswered.clear();
}

std::vector<Call> FakeJorv::takeAnswered() {
    std::lock_guard<std::mutex> lock(mMutex);
    return std::exchange(mAnswered, {});
}

std::vector<Call> FakeJorv::calls() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mCalls;
}

std::vector<Call> FakeJorv::callsOf(const std::string& op) const {
    std::vector<Call> result;
    for (Call& call : calls()) {
        if (call.op == op) result.push_back(std::move(call));
    }
    return result;
}

bool FakeJorv::waitForCalls(size_t n, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(mMutex);
    return mCond.wait_for(lock, timeout, [&] { return mCalls.size() >= n; });
}

void FakeJorv::clearCalls() {
    std::lock_guard<std::mutex> lock(mMutex);
    mCalls.clear();
}

int FakeJorv::callBackAll(const std::vector<JorvRequestData>& data) {
    std::vector<std::shared_ptr<IJorvCallback>> callbacks;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        callbacks = mCallbacks;
    }
    int ok = 0;
    for (const auto& callback : callbacks) {
        if (callback != nullptr && callback->onCallback(data).isOk()) ++ok;
    }
    return ok;
}

void FakeJorv::dropCallbacks() {
    std::vector<std::shared_ptr<IJorvCallback>> dropped;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        dropped.swap(mCallbacks);
    }
    // The proxies are released here, outside the lock.
}

Answer FakeJorv::record(Call call) {
    std::unique_lock<std::mutex> lock(mMutex);
    if (mRecording && call.anyCallback() != nullptr) mCallbacks.push_back(call.anyCallback());
    if (mScript) {
        Answer scripted = mScript(call);
        lock.unlock();
        return answerScripted(std::move(call), std::move(scripted));
    }
    const std::string op = call.op;
    if (mRecording) mCalls.push_back(std::move(call));
    mCond.notify_all();
    mCond.wait(lock, [&] { return !mHold || (!mHeldOp.empty() && mHeldOp != op); });
    // The slow service's own latency; setDelay(0) cuts it short.
    if (mDelay.count() > 0) mCond.wait_for(lock, mDelay, [&] { return mDelay.count() == 0; });

    if (mFailEvery > 0 && ++mFailCount % static_cast<uint64_t>(mFailEvery) == 0) return mFailure;
    auto queued = mQueued.find(op);
    if (queued != mQueued.end() && !queued->second.empty()) {
        Answer answer = std::move(queued->second.front());
        queued->second.pop_front();
        return answer;
    }
    auto fallback = mDefaults.find(op);
    return fallback != mDefaults.end() ? fallback->second : Answer::ok(1);
}

Answer FakeJorv::answerScripted(Call call, Answer answer) {
    // Outside the lock: the callback is a call into the client's process.
    const std::shared_ptr<IJorvCallback> callback = call.anyCallback();
    if (answer.callBack.has_value() &&
        (callback == nullptr || !callback->onCallback(*answer.callBack).isOk())) {
        answer.callBack.reset();
    }
    call.answer = answer;
    std::lock_guard<std::mutex> lock(mMutex);
    if (mRecording) mAnswered.push_back(std::move(call));
    return answer;
}

::ndk::ScopedAStatus FakeJorv::stateRequest(const JorvRequestParcel& parcel,
                                            std::vector<JorvRequestData>* out) {
    Answer answer = record(Call{"stateRequest", parcel, {}, {}, {}, {}, {}});
    if (answer.data.has_value()) *out = *answer.data;
    return toStatus(answer);
}

::ndk::ScopedAStatus FakeJorv::propertyGet(const std::string& name, std::string* out) {
    Answer answer = record(Call{"propertyGet", {}, {}, {name}, {}, {}, {}});
    if (answer.text.has_value()) *out = *answer.text;
    return toStatus(answer);
}

}  // namespace qartest
