#include "ScriptedJorv.h"

#include <android/binder_status.h>

#include <limits>
#include <utility>

#include "FuzzSupport.h"

namespace qarfuzz {
namespace {

// Exceptions a service can raise; any other code is also tried now and then.
constexpr binder_exception_t kExceptions[] = {
        EX_SECURITY,      EX_BAD_PARCELABLE,      EX_ILLEGAL_ARGUMENT,      EX_NULL_POINTER,
        EX_ILLEGAL_STATE, EX_NETWORK_MAIN_THREAD, EX_UNSUPPORTED_OPERATION, EX_TRANSACTION_FAILED,
        EX_PARCELABLE,
};

// Values the callers parse as numbers show up as numbers often enough to get past the parse.
std::optional<std::string> consumeValue(FuzzedDataProvider& provider) {
    switch (provider.ConsumeIntegralInRange(0, 4)) {
        case 0:
            return std::nullopt;
        case 1:
            return std::to_string(provider.ConsumeIntegral<int32_t>());
        case 2:
            return std::to_string(provider.ConsumeIntegral<int64_t>());  // mostly out of range
        default:
            return consumeSendableText(provider, 24);
    }
}

std::optional<std::string> consumeText(FuzzedDataProvider& provider) {
    if (!provider.ConsumeBool()) return std::nullopt;
    return consumeSendableText(provider, 24);
}

// Records as a service answers: ids mostly the ones the caller asked about.
std::vector<JorvRequestData> consumeAnswers(FuzzedDataProvider& provider,
                                            const std::vector<JorvRequestData>& asked) {
    std::vector<JorvRequestData> records(provider.ConsumeIntegralInRange<size_t>(0, 6));
    for (JorvRequestData& record : records) {
        if (!asked.empty() && provider.ConsumeBool()) {
            record.id = asked[provider.ConsumeIntegralInRange<size_t>(0, asked.size() - 1)].id;
        } else {
            record.id = provider.ConsumeIntegral<int32_t>();
        }
        record.intValue = provider.ConsumeIntegral<int32_t>();
        record.value = consumeValue(provider);
        record.path = consumeText(provider);
        record.extra = consumeText(provider);
    }
    return records;
}

::ndk::ScopedAStatus consumeStatus(FuzzedDataProvider& provider) {
    switch (provider.ConsumeIntegralInRange(0, 7)) {
        case 0:
            return ::ndk::ScopedAStatus::fromExceptionCode(
                    provider.ConsumeBool() ? provider.PickValueInArray(kExceptions)
                                           : provider.ConsumeIntegral<int32_t>());
        case 1:
            return ::ndk::ScopedAStatus::fromServiceSpecificError(
                    provider.ConsumeIntegral<int32_t>());
        case 2:
            return ::ndk::ScopedAStatus::fromStatus(provider.ConsumeIntegral<int32_t>());
        default:
            return ::ndk::ScopedAStatus::ok();
    }
}

int32_t consumeOut(FuzzedDataProvider& provider) {
    // Mostly small, so that handles come back and get used again.
    return provider.ConsumeBool() ? provider.ConsumeIntegralInRange<int32_t>(-2, 16)
                                  : provider.ConsumeIntegral<int32_t>();
}

}  // namespace

void ScriptedJorv::begin(FuzzedDataProvider* provider) {
    qar::ExclusiveLock lock(mLock);
    mProvider = provider;
    mLog.clear();
}

void ScriptedJorv::end() {
    qar::ExclusiveLock lock(mLock);
    mProvider = nullptr;
    mLog.clear();
}

std::vector<Served> ScriptedJorv::take() {
    qar::ExclusiveLock lock(mLock);
    return std::exchange(mLog, {});
}

ScriptedJorv::Reply ScriptedJorv::next(const char* op, const std::vector<JorvRequestData>& asked,
                                       bool wantsRecords, bool wantsText) {
    Reply reply{::ndk::ScopedAStatus::ok(), Served{}};
    reply.served.op = op;
    qar::ExclusiveLock lock(mLock);
    if (mProvider == nullptr) return reply;
    FuzzedDataProvider& provider = *mProvider;
    reply.status = consumeStatus(provider);
    reply.served.ok = reply.status.isOk();
    reply.served.out = consumeOut(provider);
    if (wantsRecords) reply.served.records = consumeAnswers(provider, asked);
    if (wantsText) {
        reply.served.text = consumeSendableText(provider, kMaxPropertyText);
    }
    if (provider.ConsumeBool()) reply.served.calledBackWith = consumeAnswers(provider, asked);
    return reply;
}

::ndk::ScopedAStatus ScriptedJorv::finish(Reply reply,
                                          const std::shared_ptr<IJorvCallback>& callback) {
    reply.served.hadCallback = callback != nullptr;
    if (callback == nullptr) {
        reply.served.calledBackWith.reset();
    } else if (reply.served.calledBackWith.has_value()) {
        // Called before answering, on this binder thread, as a service answers a request's
        // outcome ahead of the handle. The library's callback object never fails.
        if (!callback->onCallback(*reply.served.calledBackWith).isOk()) {
            reply.served.calledBackWith.reset();
        }
    }
    qar::ExclusiveLock lock(mLock);
    mLog.push_back(std::move(reply.served));
    return std::move(reply.status);
}

::ndk::ScopedAStatus ScriptedJorv::answerInt(Reply reply, int32_t* out,
                                             const std::shared_ptr<IJorvCallback>& callback) {
    *out = reply.served.out;
    return finish(std::move(reply), callback);
}

::ndk::ScopedAStatus ScriptedJorv::init() {
    return finish(next("init", {}, false, false), nullptr);
}

::ndk::ScopedAStatus ScriptedJorv::request(const JorvRequestParcel& parcel, int32_t* out) {
    Reply reply = next("request", parcel.dataList, false, false);
    reply.served.parcel = parcel;
    return answerInt(std::move(reply), out, parcel.callback);
}

::ndk::ScopedAStatus ScriptedJorv::release(int32_t /*handle*/, int32_t* out) {
    return answerInt(next("release", {}, false, false), out);
}

::ndk::ScopedAStatus ScriptedJorv::stateRequest(const JorvRequestParcel& parcel,
                                                std::vector<JorvRequestData>* out) {
    Reply reply = next("stateRequest", parcel.dataList, true, false);
    reply.served.parcel = parcel;
    *out = reply.served.records;
    return finish(std::move(reply), nullptr);
}

::ndk::ScopedAStatus ScriptedJorv::listeningRegister(const JorvRequestParcel& parcel,
                                                     const std::shared_ptr<IJorvCallback>& callback,
                                                     int32_t* out) {
    Reply reply = next("listeningRegister", parcel.dataList, false, false);
    reply.served.parcel = parcel;
    return answerInt(std::move(reply), out, callback);
}

::ndk::ScopedAStatus ScriptedJorv::listeningUnregister(int32_t /*handle*/, int32_t* out) {
    return answerInt(next("listeningUnregister", {}, false, false), out);
}

::ndk::ScopedAStatus ScriptedJorv::propertyGet(const std::string& /*name*/, std::string* out) {
    Reply reply = next("propertyGet", {}, false, true);
    *out = reply.served.text;
    return finish(std::move(reply), nullptr);
}

::ndk::ScopedAStatus ScriptedJorv::propertySet(const std::string& /*name*/,
                                               const std::string& /*value*/, int32_t* out) {
    return answerInt(next("propertySet", {}, false, false), out);
}

::ndk::ScopedAStatus ScriptedJorv::thermalListeningRegister(
        const std::vector<int32_t>& ids, const std::shared_ptr<IJorvCallback>& callback,
        int32_t* out) {
    std::vector<JorvRequestData> asked(ids.size());
    for (size_t i = 0; i < ids.size(); ++i) asked[i].id = ids[i];
    return answerInt(next("thermalListeningRegister", asked, false, false), out, callback);
}

::ndk::ScopedAStatus ScriptedJorv::thermalListeningUnregister(int32_t /*handle*/, int32_t* out) {
    return answerInt(next("thermalListeningUnregister", {}, false, false), out);
}

::ndk::ScopedAStatus ScriptedJorv::reserved10() {
    return finish(next("reserved10", {}, false, false), nullptr);
}

::ndk::ScopedAStatus ScriptedJorv::setRelatedSysInfo(int32_t /*a*/, const std::string& /*info*/,
                                                     int32_t* out) {
    return answerInt(next("setRelatedSysInfo", {}, false, false), out);
}

::ndk::ScopedAStatus ScriptedJorv::ruleCtl(int32_t /*ruleId*/, int32_t /*status*/,
                                           const std::vector<JorvRequestData>& data, int32_t* out) {
    return answerInt(next("ruleCtl", data, false, false), out);
}

::ndk::ScopedAStatus ScriptedJorv::requestOneWay(const JorvRequestParcel& /*parcel*/) {
    return ::ndk::ScopedAStatus::ok();
}

}  // namespace qarfuzz
