#define LOG_TAG "JORVFramework-lib-vendor"

#include <log/log.h>

#include "CallbackRegistries.h"
#include "JorvHalclient.h"
#include "JorvServiceCall.h"

namespace jorvHalclient {

namespace {

template <typename Callback>
std::shared_ptr<JorvCallbackClient> registerRequestCallback(const Callback& callback,
                                                            const char* addedLine, bool is_path) {
    ALOGI("new std::shared_ptr JorvCallbackClient callback");
    auto client = ::ndk::SharedRefBase::make<JorvCallbackClient>(callback, false, is_path);
    RequestCallbacksLock lock;
    ALOGI("%s", addedLine);
    requestCallbacks().push_back(client);
    return client;
}

}  // namespace

std::shared_ptr<JorvCallbackClient> addRequestCallback(
        const std::shared_ptr<IClientCallback>& callback, const char* addedLine) {
    return registerRequestCallback(callback, addedLine, /*ignored=*/false);
}

std::shared_ptr<JorvCallbackClient> addRequestCallback(
        const std::shared_ptr<IClientCallbackByPath>& callback, const char* addedLine) {
    return registerRequestCallback(callback, addedLine, /*is_path=*/true);
}

int jorvResCtlRequest(int param0, int param1, ResourceList& resources, int param3, int param4,
                      int param5, const std::shared_ptr<IClientCallback>& callback) {
    ALOGI("jorv client jorvResCtlRequest with callback");
    // The failure line names the callback object rather than the function: callers parse that
    // exact line.
    return sendRequest("jorv client JorvCallbackClient with callback", [&](JorvRequestParcel&
                                                                                   parcel) {
        if (!checkResourceList(resources)) {
            ALOGE("jorv client jorv_resctl_request ERROR: size unmatched for id and value ");
            return false;
        }
        fillRequestScalars(parcel, qar::kRequestTypeResource, param0, param1, param3, param4,
                           param5);
        parcel.callback = addRequestCallback(
                callback, "jorv client jorvResCtlRequest add to request_callbacks");
        qar::appendRequestData(parcel.dataList, resources);
        return true;
    });
}

int jorvSACtlRequest(int param0, int param1, int sceneActionId, int param3, int param4, int param5,
                     const std::shared_ptr<IClientCallback>& callback) {
    ALOGI("jorv client jorvSACtlRequest with callback");
    return sendRequest("jorvSACtlRequest with callback", [&](JorvRequestParcel& parcel) {
        fillRequestScalars(parcel, qar::kRequestTypeSceneAction, param0, param1, param3, param4,
                           param5);
        parcel.callback = addRequestCallback(
                callback, "jorv client jorvSACtlRequest add to request_callbacks");
        parcel.dataList.emplace_back().id = sceneActionId;
        return true;
    });
}

}  // namespace jorvHalclient
