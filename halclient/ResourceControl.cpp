#define LOG_TAG "JORVFramework-lib-vendor"

#include <log/log.h>

#include "JorvHalclient.h"
#include "JorvServiceCall.h"

namespace jorvHalclient {

namespace {

int release(int handle, const char* name) {
    int32_t result = -1;
    callJorvHal(name, [&](IJorv& hal) { return std::optional(hal.release(handle, &result)); });
    return result;
}

}  // namespace

int jorvResCtlRequest(int param0, int param1, ResourceList& resources, int param3, int param4,
                      int param5) {
    ALOGI("jorv client jorvResCtlRequest");
    return sendRequest("jorvResCtlRequest", [&](JorvRequestParcel& parcel) {
        if (!checkResourceList(resources)) {
            ALOGE("jorvResCtlRequest ERROR: size unmatched for id and value ");
            return false;
        }
        fillRequestScalars(parcel, qar::kRequestTypeResource, param0, param1, param3, param4,
                           param5);
        qar::appendRequestData(parcel.dataList, resources);
        return true;
    });
}

int jorvSACtlRequest(int param0, int param1, int sceneActionId, int param3, int param4,
                     int param5) {
    ALOGI("jorv client jorvSACtlRequest");
    return sendRequest("jorvSACtlRequest", [&](JorvRequestParcel& parcel) {
        fillRequestScalars(parcel, qar::kRequestTypeSceneAction, param0, param1, param3, param4,
                           param5);
        parcel.dataList.emplace_back().id = sceneActionId;
        return true;
    });
}

int jorvResCtlRelease(int handle) {
    ALOGI("jorv client jorvResCtlRelease");
    return release(handle, "jorvResCtlRelease");
}

int jorvSACtlRelease(int handle) {
    ALOGI("jorv client jorvSACtlRelease");
    return release(handle, "jorvSACtlRelease");
}

// The shorter forms only fill in defaults: the last scalar is param5, param0 and param3 default
// to -1, and a defaulted param4 of -1 leaves the flag off.
int jorvResCtlRequest(int param1, ResourceList& resources, int param5) {
    return jorvResCtlRequest(-1, param1, resources, -1, -1, param5);
}

int jorvResCtlRequest(int param1, ResourceList& resources, int param4, int param5) {
    return jorvResCtlRequest(-1, param1, resources, -1, param4, param5);
}

int jorvResCtlRequest(int param1, ResourceList& resources, int param3, int param4, int param5) {
    return jorvResCtlRequest(-1, param1, resources, param3, param4, param5);
}

int jorvResCtlRequest(int param0, int param1, ResourceList& resources, int param5) {
    return jorvResCtlRequest(param0, param1, resources, -1, -1, param5);
}

int jorvResCtlRequest(int param0, int param1, ResourceList& resources, int param4, int param5) {
    return jorvResCtlRequest(param0, param1, resources, -1, param4, param5);
}

int jorvSACtlRequest(int param1, int sceneActionId, int param5) {
    return jorvSACtlRequest(-1, param1, sceneActionId, -1, -1, param5);
}

}  // namespace jorvHalclient
