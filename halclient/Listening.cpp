#define LOG_TAG "JORVFramework-lib-vendor"

#include <log/log.h>

#include <algorithm>

#include "JorvHalclient.h"
#include "JorvServiceCall.h"
#include "ListeningRegistration.h"

namespace jorvHalclient {

namespace {

bool isDuplicate(const ListeningRequest& request) REQUIRES(listening_callback_mutex) {
    return std::any_of(listening_callbacks.begin(), listening_callbacks.end(),
                       [&](const JorvCallbackGroup& group) {
                           return request.byPath ? group.paths == request.paths
                                                 : group.ids == request.ids;
                       });
}

JorvRequestParcel queryParcel(const ResourceList& resources, int param5) {
    JorvRequestParcel parcel;
    parcel.requestType = qar::kRequestTypeQuery;
    parcel.param5 = param5;
    qar::appendRequestData(parcel.dataList, resources);
    return parcel;
}

}  // namespace

int registerListening(const char* failureName, const std::function<ListeningRequest()>& build,
                      const std::function<std::shared_ptr<JorvCallbackClient>()>& makeClient) {
    int32_t handle = -1;
    get_jorv_hal_and_link_to_death();
    // The shared hold ends right after the service call, while the registry lock is kept until
    // the registry is updated.
    qar::SharedLock halLock(g_jorv_hal_mutex);
    if (g_jorv_hal == nullptr) return -1;
    ListeningRequest request = build();
    ndk::ScopedAStatus status;
    {
        qar::ExclusiveLock registryLock(listening_callback_mutex);
        if (isDuplicate(request)) {
            ALOGE("Same callback interface registered already");
            return -1;
        }
        std::shared_ptr<JorvCallbackClient> client = makeClient();
        status = g_jorv_hal->listeningRegister(request.parcel, client, &handle);
        halLock.unlock();
        if (qar::isStatusOk(status)) {
            // Remembered whatever handle came back: the service accepted the callback object.
            listening_callbacks.push_back(JorvCallbackGroup{
                    std::move(request.ids), std::move(request.paths), handle, std::move(client)});
            ALOGI("A callback has been registered to Jorv HAL ");
            return handle;
        }
    }
    // Dropped only after the registry lock is let go: waiting for the exclusive hold while keeping
    // it would deadlock against a registration that holds the connection shared and waits for
    // the registry.
    checkJorvStatus(status, failureName);
    return handle;
}

int jorvResListeningRegister(ResourceList& resources, int param5,
                             const std::shared_ptr<IClientCallback>& callback) {
    ALOGI("jorvResListeningRegister");
    // Reports the name of the map-by-path registration on failure: callers parse that exact line.
    return registerListening(
            "jorv_res_listening_register_map",
            [&] {
                ListeningRequest request;
                request.parcel = queryParcel(resources, param5);
                for (const QarClient::Resource& resource : resources) {
                    request.ids.push_back(resource.id);
                }
                return request;
            },
            [&] { return ::ndk::SharedRefBase::make<JorvCallbackClient>(callback, true); });
}

int jorvResListeningUnRegister(int handle) {
    ALOGI("jorv client jorvResListeningUnRegister");
    int32_t result = -1;
    get_jorv_hal_and_link_to_death();
    ndk::ScopedAStatus status;
    {
        qar::SharedLock lock(g_jorv_hal_mutex);
        if (g_jorv_hal == nullptr) return -1;
        status = g_jorv_hal->listeningUnregister(handle, &result);
    }

    // Forgotten locally whatever the service answered: its handle is of no use any more.
    {
        qar::ExclusiveLock registryLock(listening_callback_mutex);
        auto removed = std::stable_partition(
                listening_callbacks.begin(), listening_callbacks.end(),
                [handle](const JorvCallbackGroup& group) { return group.handle != handle; });
        for (auto it = removed; it != listening_callbacks.end(); ++it) {
            ALOGI("a callback has been unregistered to Jorv HAL handle %d", handle);
        }
        if (removed == listening_callbacks.end()) ALOGE("The callback was not registered before");
        listening_callbacks.erase(removed, listening_callbacks.end());
    }
    // As in registerListening, the connection is dropped outside the registry lock.
    checkJorvStatus(status, "jorvResListeningUnRegister");
    return result;
}

int jorvResStateRequest(ResourceList& resources, int param5, ResourceList& results) {
    ALOGI("jorv client jorvResStateRequest");
    std::vector<JorvRequestData> answers;
    const CallOutcome outcome = callJorvHal(
            "jorvResStateRequest", [&](IJorv& hal) -> std::optional<ndk::ScopedAStatus> {
                JorvRequestParcel parcel = queryParcel(resources, param5);
                ALOGI("jorv client hal jorvResStateRequest");
                return hal.stateRequest(parcel, &answers);
            });
    if (outcome != CallOutcome::kOk || answers.empty()) return -1;
    for (JorvRequestData& answer : answers) {
        results.push_back(QarClient::Resource{answer.id, std::move(answer.value)});
    }
    ALOGI("jorv client jorvResStateRequest size %d", static_cast<int>(results.size()));
    return static_cast<int>(results.size());
}

}  // namespace jorvHalclient
