#pragma once

#include <aidl/vendor/vemra/hardware/jorv/BnJorv.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace qartest {

using ::aidl::vendor::vemra::hardware::jorv::BnJorv;
using ::aidl::vendor::vemra::hardware::jorv::IJorvCallback;
using ::aidl::vendor::vemra::hardware::jorv::JorvRequestData;
using ::aidl::vendor::vemra::hardware::jorv::JorvRequestParcel;

// How the fake answers one call.
struct Answer {
    enum class Kind { kOk, kException, kServiceSpecific, kTransport };
    Kind kind = Kind::kOk;
    int32_t code = 0;            // exception, service error or transport status
    std::optional<int32_t> out;  // the integer out-value, if the op has one
    std::optional<std::vector<JorvRequestData>> data;  // stateRequest's answers
    std::optional<std::string> text;                   // propertyGet's value
    // Records the fake calls the call's callback with before it answers, as a service reports a
    // request's outcome ahead of its handle.
    std::optional<std::vector<JorvRequestData>> callBack;

    // An exception or transport code of 0 makes a success status, as binder's do.
    bool isOk() const { return kind == Kind::kOk || (code == 0 && kind != Kind::kServiceSpecific); }
    static Answer ok(int32_t value) { return Answer{Kind::kOk, 0, value, {}, {}, {}}; }
    static Answer okData(std::vector<JorvRequestData> data) {
        return Answer{Kind::kOk, 0, {}, std::move(data), {}, {}};
    }
    static Answer okText(std::string text) {
        return Answer{Kind::kOk, 0, {}, {}, std::move(text), {}};
    }
    static Answer exception(int32_t ex) { return Answer{Kind::kException, ex, {}, {}, {}, {}}; }
    static Answer serviceSpecific(int32_t err) {
        return Answer{Kind::kServiceSpecific, err, {}, {}, {}, {}};
    }
    static Answer transport(int32_t status) {
        return Answer{Kind::kTransport, status, {}, {}, {}, {}};
    }
};

// One call as the fake received it.
struct Call {
    std::string op;
    std::optional<JorvRequestParcel> parcel;
    std::vector<int32_t> ints;                // scalar arguments, in order, and int[] contents
    std::vector<std::string> strings;         // string arguments, in order
    std::vector<JorvRequestData> data;        // ruleCtl's list
    std::shared_ptr<IJorvCallback> callback;  // the callback argument, if any
    Answer answer;  // what the fake answered (kept only while a script runs)

    // The callback the call carried, as an argument or in its parcel.
    std::shared_ptr<IJorvCallback> anyCallback() const {
        return callback != nullptr ? callback : parcel.has_value() ? parcel->callback : nullptr;
    }
};

// A recording, scriptable service. Each operation answers with the next queued answer for it, else
// with its default (ok, out-value 1 unless set otherwise), unless a script answers. Thread-safe.
class FakeJorv : public BnJorv {
public:
    // Picks the answer of every call in place of the queues and defaults (a fuzzer reads them
    // from its input); runs under the fake's lock. An empty script restores the queues.
    using Script = std::function<Answer(const Call&)>;
    void setScript(Script script);
    // The calls answered under the script since the last take, in order, with their answers;
    // a callback the script named but that failed is cleared from the answer.
    std::vector<Call> takeAnswered();

    void setDefault(const std::string& op, Answer answer);
    void enqueue(const std::string& op, Answer answer);
    // Holds calls (every call, or only those of `op`) until holdCalls(false), to test callers in
    // flight; off by default.
    void holdCalls(bool hold, const std::string& op = "");
    // Off: keeps neither the calls nor their callbacks, for a benchmark's millions of calls.
    void setRecording(bool recording);
    // Answers every call `delay` late, as a slow service does; zero (the default) answers at once.
    void setDelay(std::chrono::milliseconds delay);
    // Answers every `n`th call (over all operations, counted from now) with `failure` instead of
    // its own answer; 0 stops.
    void failEvery(int n, Answer failure);

    std::vector<Call> calls() const;
    std::vector<Call> callsOf(const std::string& op) const;
    // Waits until at least `n` calls arrived (any op).
    bool waitForCalls(size_t n, std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;
    void clearCalls();

    // Calls back every callback received so far (in order of arrival) with `data`; returns how many
    // calls succeeded.
    int callBackAll(const std::vector<JorvRequestData>& data);
    // Forgets the callbacks it received (drops its proxies).
    void dropCallbacks();

    ::ndk::ScopedAStatus init() override {
        return toStatus(record(Call{"init", {}, {}, {}, {}, {}, {}}));
    }
    ::ndk::ScopedAStatus request(const JorvRequestParcel& parcel, int32_t* out) override {
        return answerInt(record(Call{"request", parcel, {}, {}, {}, {}, {}}), out);
    }
    ::ndk::ScopedAStatus release(int32_t handle, int32_t* out) override {
        return answerInt(record(Call{"release", {}, {handle}, {}, {}, {}, {}}), out);
    }
    ::ndk::ScopedAStatus stateRequest(const JorvRequestParcel& parcel,
                                      std::vector<JorvRequestData>* out) override;
    ::ndk::ScopedAStatus listeningRegister(const JorvRequestParcel& parcel,
                                           const std::shared_ptr<IJorvCallback>& callback,
                                           int32_t* out) override {
        return answerInt(record(Call{"listeningRegister", parcel, {}, {}, {}, callback, {}}), out);
    }
    ::ndk::ScopedAStatus listeningUnregister(int32_t handle, int32_t* out) override {
        return answerInt(record(Call{"listeningUnregister", {}, {handle}, {}, {}, {}, {}}), out);
    }
    ::ndk::ScopedAStatus propertyGet(const std::string& name, std::string* out) override;
    ::ndk::ScopedAStatus propertySet(const std::string& name, const std::string& value,
                                     int32_t* out) override {
        return answerInt(record(Call{"propertySet", {}, {}, {name, value}, {}, {}, {}}), out);
    }
    ::ndk::ScopedAStatus thermalListeningRegister(const std::vector<int32_t>& ids,
                                                  const std::shared_ptr<IJorvCallback>& callback,
                                                  int32_t* out) override {
        return answerInt(record(Call{"thermalListeningRegister", {}, ids, {}, {}, callback, {}}),
                         out);
    }
    ::ndk::ScopedAStatus thermalListeningUnregister(int32_t handle, int32_t* out) override {
        return answerInt(record(Call{"thermalListeningUnregister", {}, {handle}, {}, {}, {}, {}}),
                         out);
    }
    ::ndk::ScopedAStatus reserved10() override {
        return toStatus(record(Call{"reserved10", {}, {}, {}, {}, {}, {}}));
    }
    ::ndk::ScopedAStatus setRelatedSysInfo(int32_t a, const std::string& info,
                                           int32_t* out) override {
        return answerInt(record(Call{"setRelatedSysInfo", {}, {a}, {info}, {}, {}, {}}), out);
    }
    ::ndk::ScopedAStatus ruleCtl(int32_t ruleId, int32_t status,
                                 const std::vector<JorvRequestData>& data, int32_t* out) override {
        return answerInt(record(Call{"ruleCtl", {}, {ruleId, status}, {}, data, {}, {}}), out);
    }
    ::ndk::ScopedAStatus requestOneWay(const JorvRequestParcel& parcel) override {
        return toStatus(record(Call{"requestOneWay", parcel, {}, {}, {}, {}, {}}));
    }

private:
    static ::ndk::ScopedAStatus toStatus(const Answer& answer);
    // Writes the answer's out-value; left untouched when it has none, so the client's preset
    // shows through.
    static ::ndk::ScopedAStatus answerInt(const Answer& answer, int32_t* out) {
        if (answer.out.has_value()) *out = *answer.out;
        return toStatus(answer);
    }
    // Records the call, waits while calls are held, and picks the answer.
    Answer record(Call call);
    // Calls the callback back when the answer says so, and keeps the call while a script runs.
    Answer answerScripted(Call call, Answer answer);

    mutable std::mutex mMutex;
    mutable std::condition_variable mCond;
    std::vector<Call> mCalls;
    std::map<std::string, std::deque<Answer>> mQueued;
    std::map<std::string, Answer> mDefaults;
    std::vector<std::shared_ptr<IJorvCallback>> mCallbacks;
    bool mRecording = true;
    bool mHold = false;
    std::string mHeldOp;  // empty: every op
    std::chrono::milliseconds mDelay{0};
    int mFailEvery = 0;
    uint64_t mFailCount = 0;
    Answer mFailure;
    Script mScript;
    std::vector<Call> mAnswered;
};

}  // namespace qartest
