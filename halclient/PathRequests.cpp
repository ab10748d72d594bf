#define LOG_TAG "JORVFramework-lib-vendor"

#include <log/log.h>

#include "JorvHalclient.h"
#include "JorvParcelMarker.h"
#include "JorvServiceCall.h"
#include "ListeningRegistration.h"

namespace jorvHalclient {

namespace {

using PathMap = std::map<std::string, std::string>;

JorvRequestData pathRecord(const std::string& path, const std::string* value) {
    JorvRequestData record;
    record.path = path;
    if (value != nullptr) record.value = *value;
    return record;
}

// Every path-addressed parcel starts out tagged, before any argument is looked at.
void startPathParcel(JorvRequestParcel& parcel) {
    parcel = JorvRequestParcel{};
    jorv_add_zdbdebug_for_request_parcel(parcel);
}

void fillPathScalars(JorvRequestParcel& parcel, int param0, long param1, int param3, int param5) {
    parcel.param3 = param3;
    parcel.param5 = param5;
    parcel.param1 = static_cast<int64_t>(param1);
    parcel.param0 = param0;
    parcel.requestType = qar::kRequestTypeResource;
}

// Records for parallel paths and values (of equal length).
void appendPathRecords(JorvRequestParcel& parcel, const std::vector<std::string>& paths,
                       const std::vector<std::string>& values) {
    for (size_t i = 0; i < paths.size(); ++i) {
        parcel.dataList.push_back(pathRecord(paths[i], &values[i]));
    }
}

// Runs a state query; the answers, or nothing when the call failed or brought none.
std::optional<std::vector<JorvRequestData>> queryByPath(const char* name,
                                                        const JorvRequestParcel& parcel) {
    std::vector<JorvRequestData> answers;
    const CallOutcome outcome = callJorvHal(
            name, [&](IJorv& hal) { return std::optional(hal.stateRequest(parcel, &answers)); });
    if (outcome != CallOutcome::kOk || answers.empty()) return std::nullopt;
    return answers;
}

// Opens a listening by path: a tagged parcel with `param5`, whose records and remembered paths
// `fill` adds.
int registerPathListening(const char* failureName, int param5,
                          const std::shared_ptr<IClientCallbackByPath>& callback,
                          const std::function<void(ListeningRequest&)>& fill) {
    return registerListening(
            failureName,
            [&] {
                ListeningRequest request;
                startPathParcel(request.parcel);
                request.parcel.param5 = param5;
                fill(request);
                request.byPath = true;
                return request;
            },
            [&] {
                return ::ndk::SharedRefBase::make<JorvCallbackClient>(
                        callback, /*is_register=*/true, /*is_path=*/true);
            });
}

}  // namespace

void jorv_add_zdbdebug_for_request_parcel(JorvRequestParcel& parcel) {
    parcel.paths = std::vector<std::optional<std::string>>{std::string("zdbdebug")};
}

int jorv_resctl_request_by_path(int param0, long param1, const std::vector<std::string>& paths,
                                const std::vector<std::string>& values, int param3, int param4,
                                int param5) {
    ALOGI("jorv client jorv_resctl_request");
    return sendRequest("jorv_resctl_request_by_path", [&](JorvRequestParcel& parcel) {
        startPathParcel(parcel);
        parcel.flag = param4 >= 1;
        if (paths.size() != values.size()) {
            ALOGE("jorv_resctl_request ERROR: size unmatched for paths and value ");
            return false;
        }
        fillPathScalars(parcel, param0, param1, param3, param5);
        appendPathRecords(parcel, paths, values);
        return true;
    });
}

int jorv_resctl_request_with_callback_by_path(
        int param0, long param1, const std::vector<std::string>& paths,
        const std::vector<std::string>& values, int param3, int param4, int param5,
        const std::shared_ptr<IClientCallbackByPath>& callback) {
    ALOGI("jorv client jorv_resctl_request_with_callback");
    // The failure line repeats the entry text: callers parse that exact line.
    return sendRequest(
            "jorv client jorv_resctl_request_with_callback", [&](JorvRequestParcel& parcel) {
                startPathParcel(parcel);
                parcel.flag = param4 >= 1;
                if (paths.size() != values.size()) {
                    ALOGE("jorv client jorv_resctl_request ERROR: size unmatched for id "
                          "and value ");
                    return false;
                }
                fillPathScalars(parcel, param0, param1, param3, param5);
                parcel.callback =
                        addRequestCallback(callback,
                                           "jorv client jorv_resctl_request_with_callback add to "
                                           "request_callbacks");
                appendPathRecords(parcel, paths, values);
                return true;
            });
}

int jorv_res_state_request_by_path(const std::vector<std::string>& paths,
                                   const std::vector<std::string>& values, int param5,
                                   std::vector<std::string>& results) {
    ALOGI("jorv client jorv_res_state_request");
    JorvRequestParcel parcel;
    startPathParcel(parcel);
    parcel.param5 = param5;
    // Values go along only when there is one per path; otherwise the paths alone are asked.
    const bool withValues = !values.empty() && values.size() == paths.size();
    for (size_t i = 0; i < paths.size(); ++i) {
        parcel.dataList.push_back(pathRecord(paths[i], withValues ? &values[i] : nullptr));
    }
    std::optional<std::vector<JorvRequestData>> answers =
            queryByPath("jorv_res_state_request", parcel);
    if (!answers.has_value()) return -1;
    // Matched to the caller's paths by position; the answers' own paths are not looked at.
    for (JorvRequestData& answer : *answers) results.push_back(answer.value.value_or(""));
    ALOGI("jorv client jorv_res_state_request size %d", static_cast<int>(results.size()));
    return static_cast<int>(results.size());
}

int jorv_res_state_request_map_by_path(const PathMap& request, int param5, PathMap& results) {
    ALOGI("jorv client jorv_res_state_request_map");
    JorvRequestParcel parcel;
    startPathParcel(parcel);
    parcel.param5 = param5;
    for (const auto& [path, value] : request) parcel.dataList.push_back(pathRecord(path, &value));
    std::optional<std::vector<JorvRequestData>> answers =
            queryByPath("jorv_res_state_request_map", parcel);
    if (!answers.has_value()) return -1;
    for (const JorvRequestData& answer : *answers) {
        if (!answer.value.has_value() || !answer.path.has_value()) continue;
        results[*answer.path] = *answer.value;
        // Logged at ERROR so that it survives the log filtering of production builds.
        ALOGE("res_Path: %s, res_Value:%s", answer.path->c_str(), answer.value->c_str());
    }
    ALOGI("jorv client jorv_res_state_request_map size %d", static_cast<int>(results.size()));
    return static_cast<int>(results.size());
}

int jorv_res_listening_register_by_path(const std::vector<std::string>& paths, int param5,
                                        const std::shared_ptr<IClientCallbackByPath>& callback) {
    ALOGI("jorv client jorv_res_listening_register");
    return registerPathListening(
            "jorv_res_listening_register", param5, callback, [&](ListeningRequest& request) {
                for (const std::string& path : paths) {
                    request.parcel.dataList.push_back(pathRecord(path, nullptr));
                }
                request.paths = paths;
            });
}

int jorv_res_listening_register_map_by_path(
        const PathMap& request, int param5,
        const std::shared_ptr<IClientCallbackByPath>& callback) {
    ALOGI("jorv client jorv_res_listening_register_map");
    // The values are sent but not remembered: the listening is known by its keys.
    return registerPathListening(
            "jorv_res_listening_register_map", param5, callback, [&](ListeningRequest& listening) {
                for (const auto& [path, value] : request) {
                    listening.parcel.dataList.push_back(pathRecord(path, &value));
                    listening.paths.push_back(path);
                }
            });
}

}  // namespace jorvHalclient
