// Vocabulary shared by the model and the binder glue.
#pragma once

#include <aidl/vendor/vemra/hardware/jorv/IJorvCallback.h>
#include <aidl/vendor/vemra/hardware/jorv/JorvRequestData.h>
#include <aidl/vendor/vemra/hardware/jorv/JorvRequestParcel.h>
#include <android/binder_status.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace jorvsim {

using ::aidl::vendor::vemra::hardware::jorv::IJorvCallback;
using ::aidl::vendor::vemra::hardware::jorv::JorvRequestData;
using ::aidl::vendor::vemra::hardware::jorv::JorvRequestParcel;
using DataList = std::vector<JorvRequestData>;

// What JorvRequestParcel::requestType asks for.
namespace RequestType {
enum : int32_t {
    kState = 0,
    kResource = 1,
    kSceneAction = 2,
    kDiagnostic = 5,
    kThermal = 7,
    kEvent = 8,
    kNotification = 10,
    kHistory = 11,
    kPlatform = 12,
    kPowerMode = 13,
    kPowerConsumption = 15,
    kDataSet = 16,
    kFeatureStatus = 17,
};
}  // namespace RequestType

// The verdict of a model call: ok, or the exception the caller gets, with a reason for people.
struct Status {
    binder_exception_t exception = EX_NONE;
    std::string message;

    bool ok() const { return exception == EX_NONE; }
    static Status error(binder_exception_t exception, std::string message) {
        return Status{exception, std::move(message)};
    }
};

// One callback the model wants made: `data` for `callback`, on behalf of the request or
// registration `handle`.
struct Notification {
    int32_t handle = -1;
    std::shared_ptr<IJorvCallback> callback;
    DataList data;
};

// What a model call leaves to be done once its lock is released: callbacks are binder calls into
// other processes, and even dropping a callback reference may talk to its process.
struct Effects {
    std::vector<Notification> notifications;
    std::vector<std::string> events;  // one-line happenings for the transcript (an expiry, ...)
    std::vector<std::string> log;     // diagnostic tables for the service log
    std::vector<std::shared_ptr<IJorvCallback>> released;
};

}  // namespace jorvsim
