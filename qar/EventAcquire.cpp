#define LOG_TAG "[QAR_CLIENT]"

#include <aidl/vendor/vemra/hardware/jorv/JorvRequestParcel.h>
#include <binder/IPCThreadState.h>
#include <log/log.h>

#include <string>

#include "QarEventApi.h"
#include "QarHalCall.h"
#include "TraceMarker.h"
#include "common/LogText.h"
#include "common/RequestData.h"
#include "common/RequestTypes.h"

using ::aidl::vendor::vemra::hardware::jorv::JorvRequestParcel;
using qar::CallOutcome;
using qar::orNone;
using qarEvent::IJorv;

namespace {

constexpr int32_t kCmdResource = -2;
constexpr int32_t kCmdPlatformResource = -3;

// The trace marker's text after the function's name. Formatted by traceMarker only when tracing
// is on: acquisitions sit on the touch and launch paths of their callers.
#define QAR_ACQUIRE_TRACE_FORMAT "  cmd_id:%d pkg:%s identity:%s duration:%d"

// The parcel shared by both acquisition forms. The reserved ids select a request kind and are not
// sent themselves; an event id goes first in the list, ahead of the resources.
JorvRequestParcel eventParcel(int32_t cmdid, const std::string& pkg, const std::string& identity,
                              int32_t timeout, const std::vector<QarClient::Resource>& resources) {
    JorvRequestParcel parcel;
    parcel.param1 = timeout;
    parcel.text1 = pkg;
    parcel.text2 = identity;
    if (cmdid == kCmdResource) {
        parcel.requestType = qar::kRequestTypeResource;
    } else if (cmdid == kCmdPlatformResource) {
        parcel.requestType = qar::kRequestTypePlatformResource;
    } else {
        parcel.requestType = qar::kRequestTypeEvent;
        parcel.dataList.emplace_back().id = cmdid;
    }
    qar::appendRequestData(parcel.dataList, resources);
    return parcel;
}

}  // namespace

int32_t QarEventAcquire(int32_t cmdid, const std::string& pkg, const std::string& identity,
                        int32_t timeout, const std::vector<QarClient::Resource>& resources) {
    qarEvent::traceMarker("QarEventAcquire" QAR_ACQUIRE_TRACE_FORMAT, cmdid, orNone(pkg),
                          orNone(identity), timeout);
    ALOGI("QarEventAcquire, cmdid:%d, pkg:%s, identity:%s", cmdid, orNone(pkg), orNone(identity));
    int32_t handle = -1;
    const JorvRequestParcel parcel = eventParcel(cmdid, pkg, identity, timeout, resources);
    const CallOutcome call = qarEvent::callQarHal(
            "QarEventAcquire", [&](IJorv& hal) { return hal.request(parcel, &handle); });
    if (call == CallOutcome::kFailed) ALOGE("jorvResCtlRequest error:%d", handle);
    return call == CallOutcome::kOk ? handle : -1;
}

int32_t QarEventAcquireOneWay(int32_t cmdid, const std::string& pkg, const std::string& identity,
                              int32_t timeout, const std::vector<QarClient::Resource>& resources) {
    qarEvent::traceMarker("QarEventAcquireOneWay" QAR_ACQUIRE_TRACE_FORMAT, cmdid, orNone(pkg),
                          orNone(identity), timeout);
    ALOGI("QarEventAcquireOneWay, cmdid:%d, pkg:%s, identity:%s", cmdid, orNone(pkg),
          orNone(identity));
    // The service cannot answer a one-way call, so the handle is made here. A failure to make one
    // is not fatal: -1 asks the service to choose, and is what the caller gets back.
    const int32_t handle = qarGetRandomHandle();
    const pid_t callingPid = android::IPCThreadState::self()->getCallingPid();

    JorvRequestParcel parcel = eventParcel(cmdid, pkg, identity, timeout, resources);
    parcel.param0 = handle;
    parcel.param5 = callingPid;
    const CallOutcome result = qarEvent::callQarHal("QarEventAcquireOneWay", [&](IJorv& hal) {
        for (const QarClient::Resource& resource : resources) {
            ALOGD("QarEventAcquireOneWay res_Id:%d ,res_Value:%s, ", resource.id,
                  resource.value.value_or("").c_str());
        }
        return hal.requestOneWay(parcel);
    });
    if (result == CallOutcome::kFailed) {
        // The caller keeps the handle all the same: a one-way send has no failure to report.
        ALOGE("jorvResCtlRequest error:%d", handle);
        return handle;
    }
    return result == CallOutcome::kOk ? handle : -1;
}

int32_t QarResAcquire(const std::vector<QarClient::Resource>& resources, int32_t /*unused*/,
                      const std::string& identity, int32_t timeout) {
    ALOGI("QarResAcquire");
    return QarEventAcquire(kCmdResource, std::string(), identity, timeout, resources);
}

int32_t QarPlatformResAcquire(const std::vector<QarClient::Resource>& resources, int32_t /*unused*/,
                              const std::string& identity, const std::string& pkg,
                              int32_t timeout) {
    ALOGI("QarPlatformResAcquire");
    return QarEventAcquire(kCmdPlatformResource, pkg, identity, timeout, resources);
}
