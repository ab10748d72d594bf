#include "Model.h"

#include <limits>
#include <utility>

#include "Expiry.h"
#include "FixedAnswers.h"
#include "Format.h"

namespace jorvsim {
namespace {

// The values a request's records set: those that name a resource and carry a value.
Values valuesOf(const DataList& records) {
    Values values;
    for (const JorvRequestData& record : records) {
        std::optional<ResourceKey> key = ResourceKey::of(record);
        if (key.has_value() && record.value.has_value()) values.emplace_back(*key, *record.value);
    }
    return values;
}

std::string describe(const ActiveRequest& request) {
    std::string text = "handle=" + std::to_string(request.handle) +
                       " type=" + requestTypeName(request.type) +
                       " pid=" + std::to_string(request.pid);
    if (request.command.has_value()) text += " cmd=" + formatId(*request.command);
    if (request.package.has_value()) text += " pkg=" + quotedText(*request.package);
    if (request.identity.has_value()) text += " identity=" + quotedText(*request.identity);
    return text;
}

// The timeline's name for a request: what it does, then the resources it sets.
std::string sliceName(const ActiveRequest& request) {
    std::string name = requestTypeName(request.type);
    if (request.type == RequestType::kSceneAction) name = "action";
    if (request.command.has_value()) name += " " + formatId(*request.command);
    for (const JorvRequestData& record : request.resources) {
        std::optional<ResourceKey> key = ResourceKey::of(record);
        if (!key.has_value()) continue;
        name += " " + key->toString();
        if (record.value.has_value()) name += "=" + *record.value;
    }
    return name;
}

}  // namespace

Model::Model(const Clock& clock, ModelOptions options, Trace* trace)
    : mClock(clock),
      mOrigin(clock.now()),
      mTrace(trace),
      mProperties(std::move(options.properties)),
      mHistory(options.historyCapacity, options.historyEnabled) {}

Millis Model::elapsed() const {
    return std::chrono::duration_cast<Millis>(mClock.now() - mOrigin);
}

Status Model::init(pid_t pid, Effects* effects) {
    Lock lock(mLock);
    expireDueLocked(effects);
    recordLocked("init pid=" + std::to_string(pid));
    return {};
}

Status Model::request(const JorvRequestParcel& parcel, pid_t pid, int32_t* handle,
                      Effects* effects) {
    Lock lock(mLock);
    expireDueLocked(effects);
    *handle = -1;
    return acceptLocked(parcel, pid, std::nullopt, handle, effects);
}

Status Model::requestOneWay(const JorvRequestParcel& parcel, pid_t pid, int32_t* handle,
                            Effects* effects) {
    Lock lock(mLock);
    expireDueLocked(effects);
    *handle = -1;
    return acceptLocked(parcel, pid, parcel.param0, handle, effects);
}

Status Model::acceptLocked(const JorvRequestParcel& parcel, pid_t pid,
                           std::optional<int32_t> wantedHandle, int32_t* handle, Effects* effects) {
    const DataList& data = parcel.dataList;
    const int32_t type = parcel.requestType;
    switch (type) {
        case RequestType::kResource:
        case RequestType::kPlatform:
            startLocked(parcel, pid, std::nullopt, data, wantedHandle, handle, effects);
            return {};
        case RequestType::kSceneAction:
            if (data.empty()) {
                return Status::error(EX_ILLEGAL_ARGUMENT,
                                     "scene-action request without the action's record");
            }
            startLocked(parcel, pid, data.front().id, {}, wantedHandle, handle, effects);
            return {};
        case RequestType::kEvent:
            if (data.empty()) {
                return Status::error(EX_ILLEGAL_ARGUMENT,
                                     "event request without its leading command record");
            }
            startLocked(parcel, pid, data.front().id, DataList(data.begin() + 1, data.end()),
                        wantedHandle, handle, effects);
            return {};
        case RequestType::kDiagnostic:
        case RequestType::kThermal:
        case RequestType::kNotification:
            return momentaryLocked(parcel, pid, handle, effects);
        case RequestType::kState:
        case RequestType::kHistory:
        case RequestType::kPowerMode:
        case RequestType::kPowerConsumption:
        case RequestType::kDataSet:
        case RequestType::kFeatureStatus:
            return Status::error(EX_ILLEGAL_ARGUMENT, "requestType " + std::to_string(type) +
                                                              " is a query; send it with "
                                                              "stateRequest");
        default:
            return Status::error(EX_ILLEGAL_ARGUMENT,
                                 "unknown requestType " + std::to_string(type));
    }
}

Status Model::momentaryLocked(const JorvRequestParcel& parcel, pid_t pid, int32_t* handle,
                              Effects* effects) {
    const DataList& data = parcel.dataList;
    switch (parcel.requestType) {
        case RequestType::kDiagnostic: {
            if (data.empty()) {
                return Status::error(EX_ILLEGAL_ARGUMENT,
                                     "diagnostic request without its command record");
            }
            Status status = diagnosticLocked(data.front().id, effects);
            if (!status.ok()) return status;
            *handle = allocateHandleLocked();
            recordLocked("diagnostic code=" + std::to_string(data.front().id) +
                         " pid=" + std::to_string(pid));
            break;
        }
        case RequestType::kThermal: {
            const std::vector<int32_t> changed = mThermal.setLevels(data);
            for (Notification& n : mThermal.notify(changed)) {
                effects->notifications.push_back(std::move(n));
            }
            *handle = allocateHandleLocked();
            const std::string levels = formatRecords(data);
            if (mTrace != nullptr) mTrace->instant(0, "thermal levels", levels);
            recordLocked("thermal pid=" + std::to_string(pid) + " levels=" + levels);
            break;
        }
        case RequestType::kNotification: {
            *handle = allocateHandleLocked();
            const std::string records = formatRecords(data);
            if (mTrace != nullptr) mTrace->instant(pid, "notification", records);
            recordLocked("notify pid=" + std::to_string(pid) + " data=" + records);
            break;
        }
    }
    // Requests that leave nothing active still answer a callback once, with nothing to report.
    if (parcel.callback != nullptr) {
        effects->notifications.push_back(Notification{*handle, parcel.callback, {}});
    }
    return {};
}

void Model::startLocked(const JorvRequestParcel& parcel, pid_t pid, std::optional<int32_t> command,
                        DataList resources, std::optional<int32_t> wantedHandle, int32_t* handle,
                        Effects* effects) {
    ActiveRequest request;
    if (wantedHandle.has_value() && *wantedHandle >= 0 && !handleInUseLocked(*wantedHandle)) {
        request.handle = *wantedHandle;
    } else {
        request.handle = allocateHandleLocked();
        if (wantedHandle.has_value() && *wantedHandle >= 0) {
            effects->events.push_back("handle " + std::to_string(*wantedHandle) +
                                      " is in use; one-way request got handle " +
                                      std::to_string(request.handle));
        }
    }
    request.type = parcel.requestType;
    request.command = command;
    request.resources = std::move(resources);
    request.pid = pid;
    request.start = mClock.now();
    request.expiry = expiryFor(request.start, parcel.param1);
    request.package = parcel.text1;
    request.identity = parcel.text2;
    request.oneway = wantedHandle.has_value();
    *handle = request.handle;

    std::string text = "acquire " + describe(request) + " duration=" +
                       (request.expiry.has_value() ? std::to_string(parcel.param1) + "ms"
                                                   : std::string("until-released")) +
                       " resources=" + formatRecords(request.resources);
    const Values values = valuesOf(request.resources);
    const std::vector<Change> changes = mValues.set(Owner::request(request.handle), values);

    if (parcel.callback != nullptr) {
        // The outcome: what each named resource is now, tagged with the request's handle.
        DataList outcome;
        if (parcel.requestType == RequestType::kSceneAction && command.has_value()) {
            JorvRequestData record;
            record.id = *command;
            record.intValue = request.handle;
            outcome.push_back(std::move(record));
        }
        for (const JorvRequestData& resource : request.resources) {
            std::optional<ResourceKey> key = ResourceKey::of(resource);
            if (!key.has_value()) continue;
            JorvRequestData record = key->toRecord(mValues.valueOf(*key));
            record.intValue = request.handle;
            outcome.push_back(std::move(record));
        }
        effects->notifications.push_back(
                Notification{request.handle, parcel.callback, std::move(outcome)});
    }
    if (mTrace != nullptr) mTrace->begin(request.handle, pid, sliceName(request));
    mRequests.add(std::move(request));
    notifyLocked(changes, effects);
    recordLocked(std::move(text));
}

Status Model::diagnosticLocked(int32_t code, Effects* effects) {
    switch (code) {
        case DiagnosticCode::kHistoryOn:
            mHistory.setEnabled(true);
            effects->log.push_back("history recording on");
            return {};
        case DiagnosticCode::kHistoryOff:
            effects->log.push_back("history recording off");
            mHistory.setEnabled(false);
            return {};
        default:
            break;
    }
    std::vector<std::string> lines = dumpLocked(code);
    if (lines.empty()) {
        return Status::error(EX_ILLEGAL_ARGUMENT,
                             "unknown diagnostic command " + std::to_string(code));
    }
    for (std::string& line : lines) effects->log.push_back(std::move(line));
    return {};
}

Status Model::release(int32_t handle, pid_t pid, int32_t* result, Effects* effects) {
    Lock lock(mLock);
    expireDueLocked(effects);
    *result = -1;
    std::optional<ActiveRequest> request = mRequests.remove(handle);
    if (request.has_value()) {
        *result = 0;
        if (mTrace != nullptr) mTrace->end(handle, "released", mClock.now());
        notifyLocked(mValues.withdraw(Owner::request(handle)), effects);
    }
    recordLocked("release handle=" + std::to_string(handle) + " pid=" + std::to_string(pid) +
                 (request.has_value() ? "" : " (unknown handle)"));
    return {};
}

Status Model::stateRequest(const JorvRequestParcel& parcel, pid_t /*pid*/, DataList* answers,
                           Effects* effects) {
    Lock lock(mLock);
    expireDueLocked(effects);
    answers->clear();
    const DataList& query = parcel.dataList;
    switch (parcel.requestType) {
        case RequestType::kState:
            if (query.empty()) {
                // Nothing named: every resource that has an effective value.
                for (const auto& entry : mValues.effective()) {
                    answers->push_back(entry.key.toRecord(entry.value));
                }
                return {};
            }
            for (const JorvRequestData& record : query) {
                JorvRequestData answer;
                answer.id = record.id;
                answer.path = record.path;
                if (std::optional<ResourceKey> key = ResourceKey::of(record)) {
                    answer.value = mValues.valueOf(*key);
                }
                answers->push_back(std::move(answer));
            }
            return {};
        case RequestType::kHistory:
            *answers = mHistory.answers();
            return {};
        case RequestType::kPowerMode:
            *answers = powerModeStatus(query);
            return {};
        case RequestType::kPowerConsumption:
            *answers = powerConsumption(query);
            return {};
        case RequestType::kDataSet:
            *answers = dataSet();
            return {};
        case RequestType::kFeatureStatus:
            *answers = featureStatus(query);
            return {};
        default:
            return Status::error(
                    EX_ILLEGAL_ARGUMENT,
                    "requestType " + std::to_string(parcel.requestType) + " is not a query");
    }
}

Status Model::listeningRegister(const JorvRequestParcel& parcel,
                                const std::shared_ptr<IJorvCallback>& callback, pid_t pid,
                                int32_t* handle, Effects* effects) {
    Lock lock(mLock);
    expireDueLocked(effects);
    *handle = -1;
    if (callback == nullptr) {
        return Status::error(EX_NULL_POINTER, "listening registration without a callback");
    }
    Listening listening;
    listening.handle = allocateHandleLocked();
    for (const JorvRequestData& record : parcel.dataList) {
        if (std::optional<ResourceKey> key = ResourceKey::of(record)) {
            listening.keys.push_back(std::move(*key));
        }
    }
    listening.callback = callback;
    listening.pid = pid;
    *handle = listening.handle;
    if (mTrace != nullptr) mTrace->registration(listening.handle, pid);
    recordLocked("listen handle=" + std::to_string(listening.handle) +
                 " pid=" + std::to_string(pid) + " data=" + formatRecords(parcel.dataList));
    mListenings.add(std::move(listening));
    return {};
}

Status Model::listeningUnregister(int32_t handle, pid_t pid, int32_t* result, Effects* effects) {
    Lock lock(mLock);
    expireDueLocked(effects);
    *result = -1;
    if (std::optional<Listening> removed = mListenings.remove(handle)) {
        effects->released.push_back(std::move(removed->callback));
        *result = 0;
    } else if (std::optional<ThermalListening> thermal = mThermal.remove(handle)) {
        effects->released.push_back(std::move(thermal->callback));
        *result = 0;
    }
    recordLocked("unlisten handle=" + std::to_string(handle) + " pid=" + std::to_string(pid) +
                 (*result == 0 ? "" : " (unknown handle)"));
    return {};
}

Status Model::thermalListeningRegister(const std::vector<int32_t>& ids,
                                       const std::shared_ptr<IJorvCallback>& callback, pid_t pid,
                                       int32_t* handle, Effects* effects) {
    Lock lock(mLock);
    expireDueLocked(effects);
    *handle = -1;
    if (callback == nullptr) {
        return Status::error(EX_NULL_POINTER, "thermal registration without a callback");
    }
    ThermalListening listening{allocateHandleLocked(), ids, callback, pid};
    *handle = listening.handle;
    if (mTrace != nullptr) mTrace->registration(listening.handle, pid);
    recordLocked("thermal-listen handle=" + std::to_string(listening.handle) +
                 " pid=" + std::to_string(pid) + " ids=" + formatInts(ids));
    mThermal.add(std::move(listening));
    return {};
}

Status Model::thermalListeningUnregister(int32_t handle, pid_t pid, int32_t* result,
                                         Effects* effects) {
    Lock lock(mLock);
    expireDueLocked(effects);
    *result = -1;
    if (std::optional<ThermalListening> removed = mThermal.remove(handle)) {
        effects->released.push_back(std::move(removed->callback));
        *result = 0;
    }
    recordLocked("thermal-unlisten handle=" + std::to_string(handle) +
                 " pid=" + std::to_string(pid) + (*result == 0 ? "" : " (unknown handle)"));
    return {};
}

Status Model::propertyGet(const std::string& name, std::string* value, Effects* effects) {
    Lock lock(mLock);
    expireDueLocked(effects);
    value->clear();
    if (name.empty()) return Status::error(EX_ILLEGAL_ARGUMENT, "empty property name");
    *value = mProperties.get(name);
    return {};
}

Status Model::propertySet(const std::string& name, const std::string& value, pid_t pid,
                          int32_t* result, Effects* effects) {
    Lock lock(mLock);
    expireDueLocked(effects);
    *result = -1;
    if (name.empty()) return Status::error(EX_ILLEGAL_ARGUMENT, "empty property name");
    if (mProperties.set(name, value)) *result = 0;
    recordLocked("property " + quotedText(name) + "=" + quotedText(value) + " pid=" +
                 std::to_string(pid) + (*result == 0 ? "" : " (refused: value too long)"));
    return {};
}

Status Model::setRelatedSysInfo(int32_t a, const std::string& info, pid_t pid, int32_t* result,
                                Effects* effects) {
    Lock lock(mLock);
    expireDueLocked(effects);
    mRelatedSysInfo[a] = info;
    *result = 0;
    recordLocked("related-sys-info " + std::to_string(a) + "=" + quotedText(info) +
                 " pid=" + std::to_string(pid));
    return {};
}

Status Model::ruleCtl(int32_t ruleId, int32_t status, const DataList& data, pid_t pid,
                      int32_t* result, Effects* effects) {
    Lock lock(mLock);
    expireDueLocked(effects);
    Rule rule{ruleId, status, data, mClock.now()};
    // A rule that is on sets its resources like a request without end; switching it off (or on
    // again with other resources) withdraws what it set before.
    const Values values = rule.on() ? valuesOf(data) : Values{};
    notifyLocked(mValues.set(Owner::rule(ruleId), values), effects);
    mRules.set(std::move(rule));
    *result = 0;
    if (mTrace != nullptr) {
        mTrace->instant(0, "rule " + std::to_string(ruleId) + (status != 0 ? " on" : " off"),
                        "pid=" + std::to_string(pid) + " data=" + formatRecords(data));
    }
    recordLocked("rule " + std::to_string(ruleId) + (status != 0 ? " on" : " off") +
                 " status=" + std::to_string(status) + " pid=" + std::to_string(pid) +
                 " data=" + formatRecords(data));
    return {};
}

void Model::expireDue(Effects* effects) {
    Lock lock(mLock);
    expireDueLocked(effects);
}

std::optional<TimePoint> Model::nextExpiry() const {
    Lock lock(mLock);
    return mRequests.nextExpiry();
}

void Model::forgetRegistration(int32_t handle, Effects* effects) {
    Lock lock(mLock);
    std::shared_ptr<IJorvCallback> callback;
    if (std::optional<Listening> listening = mListenings.remove(handle)) {
        callback = std::move(listening->callback);
    } else if (std::optional<ThermalListening> thermal = mThermal.remove(handle)) {
        callback = std::move(thermal->callback);
    }
    if (callback == nullptr) return;
    effects->released.push_back(std::move(callback));
    if (mTrace != nullptr) mTrace->death(handle, "its callback is unreachable");
    effects->events.push_back("dropped registration handle=" + std::to_string(handle) +
                              ": its callback is unreachable");
    recordLocked("drop-registration handle=" + std::to_string(handle));
}

std::vector<std::string> Model::dump(int32_t code) const {
    Lock lock(mLock);
    return dumpLocked(code);
}

void Model::expireDueLocked(Effects* effects) {
    for (const ActiveRequest& request : mRequests.takeExpired(mClock.now())) {
        effects->events.push_back("expired " + describe(request));
        if (mTrace != nullptr) {
            mTrace->end(request.handle, "expired", request.expiry.value_or(mClock.now()));
        }
        recordLocked("expire " + describe(request));
        notifyLocked(mValues.withdraw(Owner::request(request.handle)), effects);
    }
}

bool Model::handleInUseLocked(int32_t handle) const {
    return mRequests.contains(handle) || mListenings.contains(handle) || mThermal.contains(handle);
}

int32_t Model::allocateHandleLocked() {
    for (;;) {
        const int32_t handle = mNextHandle;
        // Wraps to 1 rather than overflowing; handles in use are skipped.
        mNextHandle = handle == std::numeric_limits<int32_t>::max() ? 1 : handle + 1;
        if (!handleInUseLocked(handle)) return handle;
    }
}

void Model::notifyLocked(const std::vector<Change>& changes, Effects* effects) {
    if (mTrace != nullptr) {
        for (const Change& change : changes) mTrace->value(change.key, change.after);
    }
    for (Notification& n : mListenings.notify(changes)) {
        effects->notifications.push_back(std::move(n));
    }
}

void Model::recordLocked(std::string text) {
    mHistory.add(elapsed(), std::move(text));
}

}  // namespace jorvsim
