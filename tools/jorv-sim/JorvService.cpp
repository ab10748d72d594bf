#include "JorvService.h"

#include <android/binder_ibinder.h>

#include "Format.h"

namespace jorvsim {
namespace {

::ndk::ScopedAStatus failure(const Faults::Admission& admission) {
    switch (admission.kind) {
        case FailKind::kException:
            return ::ndk::ScopedAStatus::fromExceptionCodeWithMessage(admission.code,
                                                                      "injected fault");
        case FailKind::kServiceSpecific:
            return ::ndk::ScopedAStatus::fromServiceSpecificErrorWithMessage(admission.code,
                                                                             "injected fault");
        case FailKind::kTransport:
            break;
    }
    return ::ndk::ScopedAStatus::fromStatus(admission.code);
}

std::string intArg(int32_t value) {
    return "(" + std::to_string(value) + ")";
}

}  // namespace

void omitValues(DataList* records) {
    for (JorvRequestData& record : *records) {
        record.value.reset();
        record.extra.reset();
    }
}

::ndk::ScopedAStatus JorvService::serve(const char* op, const std::string& args, const Body& body) {
    const pid_t pid = AIBinder_getCallingPid();
    GatePass pass(*mContext.gate);
    // The service is stopping: nothing else may be touched. The caller sees it die.
    if (!pass.entered()) return ::ndk::ScopedAStatus::fromStatus(STATUS_DEAD_OBJECT);

    const uint64_t seq = ++mSeq;
    const Faults::Admission admission = mContext.faults.admit(op);
    Effects effects;
    ::ndk::ScopedAStatus status;
    std::string result;
    switch (admission.action) {
        case Faults::Admission::Action::kRefuse:
            status = failure(admission);
            result = "refused (exiting) " + formatStatus(status);
            break;
        case Faults::Admission::Action::kFail:
            status = failure(admission);
            result = "fault " + formatStatus(status);
            break;
        case Faults::Admission::Action::kServe: {
            std::string answer;
            const Status outcome = body(pid, &effects, &answer);
            if (outcome.ok()) {
                status = ::ndk::ScopedAStatus::ok();
                result = answer.empty() ? "ok" : "ok " + answer;
            } else {
                status = ::ndk::ScopedAStatus::fromExceptionCodeWithMessage(
                        outcome.exception, outcome.message.c_str());
                result = "error " + formatStatus(status);
            }
            break;
        }
    }
    mContext.transcript.call(seq, pid, op, args, result);
    mContext.apply(std::move(effects));
    if (mContext.afterCall) mContext.afterCall();
    mContext.faults.delayReply();
    if (admission.last && mContext.exitDue) mContext.exitDue();
    return status;
}

::ndk::ScopedAStatus JorvService::init() {
    return serve("init", "()", [&](pid_t pid, Effects* effects, std::string*) {
        return mContext.model.init(pid, effects);
    });
}

::ndk::ScopedAStatus JorvService::request(const JorvRequestParcel& parcel, int32_t* handle) {
    return serve("request", formatParcel(parcel),
                 [&](pid_t pid, Effects* effects, std::string* answer) {
                     const Status status = mContext.model.request(parcel, pid, handle, effects);
                     *answer = std::to_string(*handle);
                     return status;
                 });
}

::ndk::ScopedAStatus JorvService::release(int32_t handle, int32_t* result) {
    return serve("release", intArg(handle), [&](pid_t pid, Effects* effects, std::string* answer) {
        const Status status = mContext.model.release(handle, pid, result, effects);
        *answer = std::to_string(*result);
        return status;
    });
}

::ndk::ScopedAStatus JorvService::stateRequest(const JorvRequestParcel& parcel,
                                               std::vector<JorvRequestData>* answers) {
    return serve("stateRequest", formatParcel(parcel),
                 [&](pid_t pid, Effects* effects, std::string* answer) {
                     const Status status =
                             mContext.model.stateRequest(parcel, pid, answers, effects);
                     if (mContext.faults.omitValues()) omitValues(answers);
                     *answer = formatRecords(*answers);
                     return status;
                 });
}

::ndk::ScopedAStatus JorvService::listeningRegister(const JorvRequestParcel& parcel,
                                                    const std::shared_ptr<IJorvCallback>& callback,
                                                    int32_t* handle) {
    const std::string args =
            formatParcel(parcel) + (callback != nullptr ? " callback=yes" : " callback=null");
    return serve("listeningRegister", args, [&](pid_t pid, Effects* effects, std::string* answer) {
        const Status status =
                mContext.model.listeningRegister(parcel, callback, pid, handle, effects);
        *answer = std::to_string(*handle);
        return status;
    });
}

::ndk::ScopedAStatus JorvService::listeningUnregister(int32_t handle, int32_t* result) {
    return serve("listeningUnregister", intArg(handle),
                 [&](pid_t pid, Effects* effects, std::string* answer) {
                     const Status status =
                             mContext.model.listeningUnregister(handle, pid, result, effects);
                     *answer = std::to_string(*result);
                     return status;
                 });
}

::ndk::ScopedAStatus JorvService::propertyGet(const std::string& name, std::string* value) {
    return serve("propertyGet", "(" + quotedText(name) + ")",
                 [&](pid_t, Effects* effects, std::string* answer) {
                     const Status status = mContext.model.propertyGet(name, value, effects);
                     if (mContext.faults.omitValues()) value->clear();
                     *answer = quotedText(*value);
                     return status;
                 });
}

::ndk::ScopedAStatus JorvService::propertySet(const std::string& name, const std::string& value,
                                              int32_t* result) {
    return serve("propertySet", "(" + quotedText(name) + ", " + quotedText(value) + ")",
                 [&](pid_t pid, Effects* effects, std::string* answer) {
                     const Status status =
                             mContext.model.propertySet(name, value, pid, result, effects);
                     *answer = std::to_string(*result);
                     return status;
                 });
}

::ndk::ScopedAStatus JorvService::thermalListeningRegister(
        const std::vector<int32_t>& ids, const std::shared_ptr<IJorvCallback>& callback,
        int32_t* handle) {
    const std::string args =
            "(" + formatInts(ids) + (callback != nullptr ? ", callback=yes)" : ", callback=null)");
    return serve("thermalListeningRegister", args,
                 [&](pid_t pid, Effects* effects, std::string* answer) {
                     const Status status = mContext.model.thermalListeningRegister(
                             ids, callback, pid, handle, effects);
                     *answer = std::to_string(*handle);
                     return status;
                 });
}

::ndk::ScopedAStatus JorvService::thermalListeningUnregister(int32_t handle, int32_t* result) {
    return serve("thermalListeningUnregister", intArg(handle),
                 [&](pid_t pid, Effects* effects, std::string* answer) {
                     const Status status = mContext.model.thermalListeningUnregister(
                             handle, pid, result, effects);
                     *answer = std::to_string(*result);
                     return status;
                 });
}

::ndk::ScopedAStatus JorvService::reserved10() {
    return serve("reserved10", "()", [](pid_t, Effects*, std::string*) {
        return Status::error(EX_UNSUPPORTED_OPERATION, "reserved operation");
    });
}

::ndk::ScopedAStatus JorvService::setRelatedSysInfo(int32_t a, const std::string& info,
                                                    int32_t* result) {
    return serve("setRelatedSysInfo", "(" + std::to_string(a) + ", " + quotedText(info) + ")",
                 [&](pid_t pid, Effects* effects, std::string* answer) {
                     const Status status =
                             mContext.model.setRelatedSysInfo(a, info, pid, result, effects);
                     *answer = std::to_string(*result);
                     return status;
                 });
}

::ndk::ScopedAStatus JorvService::ruleCtl(int32_t ruleId, int32_t status,
                                          const std::vector<JorvRequestData>& data,
                                          int32_t* result) {
    const std::string args = "(" + std::to_string(ruleId) + ", " + std::to_string(status) + ", " +
                             formatRecords(data) + ")";
    return serve("ruleCtl", args, [&](pid_t pid, Effects* effects, std::string* answer) {
        const Status outcome = mContext.model.ruleCtl(ruleId, status, data, pid, result, effects);
        *answer = std::to_string(*result);
        return outcome;
    });
}

::ndk::ScopedAStatus JorvService::requestOneWay(const JorvRequestParcel& parcel) {
    return serve("requestOneWay", formatParcel(parcel),
                 [&](pid_t pid, Effects* effects, std::string* answer) {
                     int32_t handle = -1;
                     const Status status =
                             mContext.model.requestOneWay(parcel, pid, &handle, effects);
                     *answer = "oneway handle=" + std::to_string(handle);
                     return status;
                 });
}

}  // namespace jorvsim
