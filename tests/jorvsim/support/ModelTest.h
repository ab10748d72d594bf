// Builders for the records and parcels the tests send, and a model on a hand-moved clock with
// short ways to drive it.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Clock.h"
#include "Model.h"
#include "support/RecordingCallback.h"

namespace jorvsimtest {

using jorvsim::DataList;
using jorvsim::JorvRequestData;
using jorvsim::JorvRequestParcel;

inline JorvRequestData idRecord(int32_t id, std::optional<std::string> value = std::nullopt) {
    JorvRequestData record;
    record.id = id;
    record.value = std::move(value);
    return record;
}

inline JorvRequestData pathRecord(std::string path,
                                  std::optional<std::string> value = std::nullopt) {
    JorvRequestData record = idRecord(0, std::move(value));
    record.path = std::move(path);
    return record;
}

inline JorvRequestParcel parcelOf(int32_t type, DataList data, int64_t durationMs = 0) {
    JorvRequestParcel parcel;
    parcel.requestType = type;
    parcel.dataList = std::move(data);
    parcel.param1 = durationMs;
    return parcel;
}

using jorvsim::Effects;
using jorvsim::IJorvCallback;
using jorvsim::Model;
using jorvsim::ModelOptions;
using jorvsim::Notification;
using jorvsim::Status;
namespace RequestType = jorvsim::RequestType;
using Pairs = std::vector<std::pair<std::string, std::optional<std::string>>>;

// The (name, value) pairs of records, naming each by path or id.
inline Pairs pairsOf(const DataList& data) {
    Pairs pairs;
    for (const auto& r : data) {
        pairs.emplace_back(r.path.has_value() ? *r.path : std::to_string(r.id), r.value);
    }
    return pairs;
}

// A clock that moves only when a test moves it, so expiry is tested without sleeping.
class ManualClock final : public jorvsim::Clock {
public:
    jorvsim::TimePoint now() const override { return mNow; }
    void advance(jorvsim::Millis step) { mNow += step; }

private:
    // Any starting point will do; this one is far from the clock's epoch.
    jorvsim::TimePoint mNow{std::chrono::hours(24)};
};

class ModelTest : public ::testing::Test {
protected:
    static constexpr pid_t kPid = 4242;

    void resetModel(ModelOptions options, jorvsim::Trace* trace = nullptr) {
        model = std::make_unique<Model>(clock, std::move(options), trace);
    }

    int32_t request(const JorvRequestParcel& parcel) {
        int32_t handle = -1;
        const Status status = model->request(parcel, kPid, &handle, &effects);
        EXPECT_TRUE(status.ok()) << status.message;
        return handle;
    }
    int32_t acquire(DataList data, int64_t durationMs = 0) {
        return request(parcelOf(RequestType::kResource, std::move(data), durationMs));
    }
    int32_t release(int32_t handle) {
        int32_t result = -2;
        EXPECT_TRUE(model->release(handle, kPid, &result, &effects).ok());
        return result;
    }
    DataList query(int32_t type, DataList data = {}) {
        DataList answers;
        const Status status =
                model->stateRequest(parcelOf(type, std::move(data)), kPid, &answers, &effects);
        EXPECT_TRUE(status.ok()) << status.message;
        return answers;
    }
    // The effective value of the resource `record` names, as a state query answers it.
    std::optional<std::string> valueOf(const JorvRequestData& record) {
        const DataList answers = query(RequestType::kState, {record});
        return answers.size() == 1 ? answers[0].value : std::optional<std::string>("<bad answer>");
    }
    int32_t listen(DataList keys, const std::shared_ptr<IJorvCallback>& callback) {
        int32_t handle = -1;
        EXPECT_TRUE(model->listeningRegister(parcelOf(RequestType::kState, std::move(keys)),
                                             callback, kPid, &handle, &effects)
                            .ok());
        return handle;
    }
    static std::shared_ptr<RecordingCallback> newCallback() {
        return ::ndk::SharedRefBase::make<RecordingCallback>();
    }
    // The effects gathered since the last take().
    Effects take() { return std::exchange(effects, Effects{}); }
    // The data of every notification for `callback` among `notifications`.
    static std::vector<DataList> sentTo(const std::vector<Notification>& notifications,
                                        const std::shared_ptr<IJorvCallback>& callback) {
        std::vector<DataList> sent;
        for (const Notification& n : notifications) {
            if (n.callback == callback) sent.push_back(n.data);
        }
        return sent;
    }

    // What `callback` is sent among effects `e`, one entry a call.
    static std::vector<Pairs> heard(const Effects& e,
                                    const std::shared_ptr<IJorvCallback>& callback) {
        std::vector<Pairs> calls;
        for (const DataList& data : sentTo(e.notifications, callback)) {
            calls.push_back(pairsOf(data));
        }
        return calls;
    }

    ManualClock clock;
    std::unique_ptr<Model> model = std::make_unique<Model>(clock);
    Effects effects;
};

}  // namespace jorvsimtest
