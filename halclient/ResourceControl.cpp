#define LOG_TAG "JORVFramework-lib-vendor"

#include <aidl/vendor/vemra/hardware/jorv/JorvRequestParcel.h>
#include <log/log.h>

#include "JorvHalConnection.h"
#include "JorvHalclient.h"

namespace jorvHalclient {

using ::aidl::vendor::vemra::hardware::jorv::JorvRequestData;
using ::aidl::vendor::vemra::hardware::jorv::JorvRequestParcel;

namespace {

constexpr int32_t kRequestTypeResource = 1;
constexpr int32_t kRequestTypeSceneAction = 2;

// The scalar fields shared by resource and scene-action requests.
void fillRequestScalars(JorvRequestParcel& parcel, int32_t requestType, int param0, int param1,
                        int param3, int param4, int param5) {
    parcel.requestType = requestType;
    parcel.flag = param4 >= 1;
    parcel.param3 = param3;
    parcel.param5 = param5;
    parcel.param1 = static_cast<int64_t>(param1);
    parcel.param0 = param0;
}

std::vector<JorvRequestData> toRequestData(const ResourceList& resources) {
    std::vector<JorvRequestData> data;
    data.reserve(resources.size());
    for (const QarClient::Resource& resource : resources) {
        JorvRequestData& entry = data.emplace_back();
        entry.id = resource.id;
        if (resource.value.has_value()) entry.value = resource.value;
    }
    return data;
}

// Connects, builds the parcel with the shared hold kept (so the connection cannot be dropped
// meanwhile) and sends it through IJorv::request. `build` returns false to refuse the request:
// nothing is sent. Returns the service's handle, or -1.
template <typename Build>
int sendRequest(const char* name, Build&& build) {
    int32_t handle = -1;
    get_jorv_hal_and_link_to_death();
    ndk::ScopedAStatus status;
    {
        qar::SharedLock lock(g_jorv_hal_mutex);
        if (g_jorv_hal == nullptr) return -1;
        JorvRequestParcel parcel;
        if (!build(parcel)) return -1;
        status = g_jorv_hal->request(parcel, &handle);
    }
    checkJorvStatus(status, name);
    return handle;
}

int release(int handle, const char* name) {
    int32_t result = -1;
    get_jorv_hal_and_link_to_death();
    ndk::ScopedAStatus status;
    {
        qar::SharedLock lock(g_jorv_hal_mutex);
        if (g_jorv_hal == nullptr) return -1;
        status = g_jorv_hal->release(handle, &result);
    }
    checkJorvStatus(status, name);
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
        fillRequestScalars(parcel, kRequestTypeResource, param0, param1, param3, param4, param5);
        parcel.dataList = toRequestData(resources);
        return true;
    });
}

int jorvSACtlRequest(int param0, int param1, int sceneActionId, int param3, int param4,
                     int param5) {
    ALOGI("jorv client jorvSACtlRequest");
    return sendRequest("jorvSACtlRequest", [&](JorvRequestParcel& parcel) {
        fillRequestScalars(parcel, kRequestTypeSceneAction, param0, param1, param3, param4, param5);
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
