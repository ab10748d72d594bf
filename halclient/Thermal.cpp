#define LOG_TAG "JORVFramework-lib-vendor"

#include <log/log.h>

#include "CallbackRegistries.h"
#include "JorvHalclient.h"
#include "JorvServiceCall.h"

namespace jorvHalclient {

namespace {

// Thermal registrations join the listening registry without taking its lock and without the
// duplicate test, and are kept out of the analysis: jorvThermalListeningRegister's contract
// forbids calling it concurrently with any other registration.
void appendThermalGroup(JorvCallbackGroup group) NO_THREAD_SAFETY_ANALYSIS {
    listening_callbacks.push_back(std::move(group));
}

}  // namespace

int jorvThermalNotify(ResourceList& resources, int param5) {
    ALOGI("jorv client jorvThermalNotify");
    const int handle = sendRequest("jorvThermalNotify", [&](JorvRequestParcel& parcel) {
        parcel.param5 = param5;
        if (!checkResourceList(resources)) {
            ALOGE("jorvThermalNotify ERROR: size unmatched for id and level ");
            return false;
        }
        parcel.requestType = qar::kRequestTypeThermal;
        qar::appendRequestData(parcel.dataList, resources);
        return true;
    });
    return handle >= 1 ? 0 : -1;
}

int jorvThermalListeningRegister(const std::vector<int>& ids,
                                 const std::shared_ptr<IClientCallback>& callback) {
    ALOGI("jorvThermalListeningRegister");
    int32_t handle = -1;
    std::shared_ptr<JorvCallbackClient> client;
    const CallOutcome outcome = callJorvHal("jorvThermalListeningRegister", [&](IJorv& hal) {
        client = ::ndk::SharedRefBase::make<JorvCallbackClient>(callback, true);
        return std::optional(hal.thermalListeningRegister(ids, client, &handle));
    });
    if (outcome == CallOutcome::kOk) {
        appendThermalGroup(JorvCallbackGroup{ids, {}, handle, std::move(client)});
        ALOGI("subsys's callback has been registered to Jorv HAL");
    }
    return handle;
}

int jorvThermalListeningUnregister(int handle) {
    ALOGI("jorv client jorvThermalListeningUnregister");
    int32_t result = -1;
    // The registry keeps the registration's group until jorvResListeningUnRegister(handle).
    const CallOutcome outcome = callJorvHal("jorvThermalListeningUnregister", [&](IJorv& hal) {
        return std::optional(hal.thermalListeningUnregister(handle, &result));
    });
    if (outcome == CallOutcome::kOk) ALOGI("subsys's callback has been unRegistered to Jorv HAL");
    return result;
}

}  // namespace jorvHalclient
