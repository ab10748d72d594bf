#define LOG_TAG "[QAR_CLIENT]"

#include <aidl/vendor/vemra/hardware/jorv/JorvRequestParcel.h>
#include <log/log.h>

#include "QarEventApi.h"
#include "QarHalCall.h"
#include "TraceMarker.h"
#include "common/RequestData.h"
#include "common/RequestTypes.h"

using ::aidl::vendor::vemra::hardware::jorv::JorvRequestData;
using ::aidl::vendor::vemra::hardware::jorv::JorvRequestParcel;
using qar::CallOutcome;
using qarEvent::IJorv;

namespace {

JorvRequestData notifyEntry(int32_t a, int32_t b) {
    JorvRequestData entry;
    entry.id = a;
    entry.intValue = b;
    return entry;
}

}  // namespace

void QarRelease(int32_t handle) {
    qarEvent::traceMarker("QarRelease: %d", handle);
    ALOGI("QarRelease, handle:%d", handle);
    // The service's answer is not used: a release has nothing to report back.
    int32_t result = 0;
    // A failure is reported under jorvHalclient's name for a release: callers parse that exact
    // line.
    const CallOutcome call = qarEvent::callQarHal(
            "jorvResCtlRelease", [&](IJorv& hal) { return hal.release(handle, &result); });
    if (call == CallOutcome::kVanished) ALOGE("QarRelease g_qar_hal is null");
}

int32_t QarNotify(int32_t a, int32_t b, const std::vector<int32_t>& values) {
    ALOGI("QarNotify enter");
    // One (a, b) entry per value; the values themselves are not sent (paths stays absent) and the
    // service goes by their number only. That is the shape the service has always received, so
    // the values are deliberately left out.
    JorvRequestParcel parcel;
    parcel.requestType = qar::kRequestTypeNotify;
    parcel.dataList.assign(values.empty() ? 1 : values.size(), notifyEntry(a, b));
    int32_t out = -1;
    const CallOutcome call = qarEvent::callQarHal(
            "QarNotify", [&](IJorv& hal) { return hal.request(parcel, &out); });
    return call == CallOutcome::kOk ? out : -1;
}

int32_t setRelatedSysInfo(int32_t a, const std::string& info) {
    int32_t out = -1;
    const CallOutcome call = qarEvent::callQarHal(
            "setRelatedSysInfo", [&](IJorv& hal) { return hal.setRelatedSysInfo(a, info, &out); });
    return call == CallOutcome::kOk ? out : -1;
}

int32_t qarRuleCtl(int32_t ruleId, int32_t status,
                   const std::vector<QarClient::Resource>& resources) {
    ALOGI("qarRuleCtl, ruleId:%d, status:%d", ruleId, status);
    std::vector<JorvRequestData> data;
    qar::appendRequestData(data, resources);
    int32_t out = -1;
    const CallOutcome call = qarEvent::callQarHal(
            "qarRuleCtl", [&](IJorv& hal) { return hal.ruleCtl(ruleId, status, data, &out); });
    return call == CallOutcome::kOk ? out : -1;
}
