// The reference service's state and behaviour, free of binder plumbing. Thread-safe: every call
// takes the model's lock, and what must happen outside it (callbacks into other processes,
// transcript lines) is handed back in Effects.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Clock.h"
#include "EffectiveValues.h"
#include "History.h"
#include "Listenings.h"
#include "Locking.h"
#include "ModelTypes.h"
#include "Properties.h"
#include "RequestTable.h"
#include "Rules.h"
#include "Thermal.h"
#include "Trace.h"

namespace jorvsim {

// Diagnostic command codes (the id of a diagnostic request's only record).
namespace DiagnosticCode {
// Wire values: each is spelled out, so that moving a line cannot change the protocol.
enum : int32_t {
    kToDoQueue = 0,
    kRunMap = 1,
    kActiveResources = 2,
    kResourceRequests = 3,
    kResourceInfo = 4,
    kSceneActions = 5,
    kPidList = 6,
    kPidMonitorMap = 7,
    kRecordList = 8,
    kHistoryOn = 10,
    kHistoryOff = 11,
};
}  // namespace DiagnosticCode

struct ModelOptions {
    size_t historyCapacity = 256;
    bool historyEnabled = true;
    std::map<std::string, std::string> properties;
};

// Results: out-values are -1 unless the call succeeded; release and unregistration give 0 for a
// known handle and -1 otherwise. A Status that is not ok means the call itself was malformed.
// Every call first ends the requests whose time is up, so no answer shows an expired request.
class Model {
public:
    // `trace`, when given, records the timeline (requests, values, rules, thermal levels,
    // notifications and deaths); it must outlive the model.
    explicit Model(const Clock& clock, ModelOptions options = {}, Trace* trace = nullptr);
    Model(const Model&) = delete;
    Model& operator=(const Model&) = delete;

    Status init(pid_t pid, Effects* effects) EXCLUDES(mLock);
    // Requests of every kind but the queries; the handle is new, increasing, and never one in use.
    Status request(const JorvRequestParcel& parcel, pid_t pid, int32_t* handle, Effects* effects)
            EXCLUDES(mLock);
    // As request(), but the caller cannot learn the handle, so it may choose one in param0: used
    // when it is 0 or more and not in use, else the service picks one.
    Status requestOneWay(const JorvRequestParcel& parcel, pid_t pid, int32_t* handle,
                         Effects* effects) EXCLUDES(mLock);
    Status release(int32_t handle, pid_t pid, int32_t* result, Effects* effects) EXCLUDES(mLock);
    Status stateRequest(const JorvRequestParcel& parcel, pid_t pid, DataList* answers,
                        Effects* effects) EXCLUDES(mLock);
    Status listeningRegister(const JorvRequestParcel& parcel,
                             const std::shared_ptr<IJorvCallback>& callback, pid_t pid,
                             int32_t* handle, Effects* effects) EXCLUDES(mLock);
    // Ends a listening or a thermal registration.
    Status listeningUnregister(int32_t handle, pid_t pid, int32_t* result, Effects* effects)
            EXCLUDES(mLock);
    Status thermalListeningRegister(const std::vector<int32_t>& ids,
                                    const std::shared_ptr<IJorvCallback>& callback, pid_t pid,
                                    int32_t* handle, Effects* effects) EXCLUDES(mLock);
    // Ends a thermal registration only.
    Status thermalListeningUnregister(int32_t handle, pid_t pid, int32_t* result, Effects* effects)
            EXCLUDES(mLock);
    Status propertyGet(const std::string& name, std::string* value, Effects* effects)
            EXCLUDES(mLock);
    Status propertySet(const std::string& name, const std::string& value, pid_t pid,
                       int32_t* result, Effects* effects) EXCLUDES(mLock);
    Status setRelatedSysInfo(int32_t a, const std::string& info, pid_t pid, int32_t* result,
                             Effects* effects) EXCLUDES(mLock);
    Status ruleCtl(int32_t ruleId, int32_t status, const DataList& data, pid_t pid, int32_t* result,
                   Effects* effects) EXCLUDES(mLock);

    // Ends the requests whose time is up; the service's timer calls it at each expiry.
    void expireDue(Effects* effects) EXCLUDES(mLock);
    std::optional<TimePoint> nextExpiry() const EXCLUDES(mLock);
    // Drops a registration whose callback cannot be reached any more (its process died).
    void forgetRegistration(int32_t handle, Effects* effects) EXCLUDES(mLock);
    // The lines a diagnostic dump command prints; empty for a code that names no table.
    std::vector<std::string> dump(int32_t code) const EXCLUDES(mLock);

private:
    Millis elapsed() const;
    void expireDueLocked(Effects* effects) REQUIRES(mLock);
    bool handleInUseLocked(int32_t handle) const REQUIRES(mLock);
    int32_t allocateHandleLocked() REQUIRES(mLock);
    Status acceptLocked(const JorvRequestParcel& parcel, pid_t pid,
                        std::optional<int32_t> wantedHandle, int32_t* handle, Effects* effects)
            REQUIRES(mLock);
    // Carries out a request that leaves nothing active (diagnostic, thermal, notification).
    Status momentaryLocked(const JorvRequestParcel& parcel, pid_t pid, int32_t* handle,
                           Effects* effects) REQUIRES(mLock);
    // Starts a request that stays active (resource, scene action, event, platform).
    void startLocked(const JorvRequestParcel& parcel, pid_t pid, std::optional<int32_t> command,
                     DataList resources, std::optional<int32_t> wantedHandle, int32_t* handle,
                     Effects* effects) REQUIRES(mLock);
    Status diagnosticLocked(int32_t code, Effects* effects) REQUIRES(mLock);
    // Queues the listeners' notifications for `changes`.
    void notifyLocked(const std::vector<Change>& changes, Effects* effects) REQUIRES(mLock);
    void recordLocked(std::string text) REQUIRES(mLock);
    std::vector<std::string> dumpLocked(int32_t code) const REQUIRES(mLock);
    // One table each (ModelDump.cpp).
    std::vector<std::string> dumpToDoQueueLocked() const REQUIRES(mLock);
    std::vector<std::string> dumpRunMapLocked() const REQUIRES(mLock);
    std::vector<std::string> dumpActiveLocked() const REQUIRES(mLock);
    std::vector<std::string> dumpSettingsLocked() const REQUIRES(mLock);
    std::vector<std::string> dumpResourceInfoLocked() const REQUIRES(mLock);
    std::vector<std::string> dumpSceneActionsLocked() const REQUIRES(mLock);
    std::vector<std::string> dumpPidsLocked(bool counts) const REQUIRES(mLock);
    std::vector<std::string> dumpRecordsLocked() const REQUIRES(mLock);

    const Clock& mClock;
    const TimePoint mOrigin;
    Trace* const mTrace;
    mutable Mutex mLock;
    int32_t mNextHandle GUARDED_BY(mLock) = 1;
    RequestTable mRequests GUARDED_BY(mLock);
    EffectiveValues mValues GUARDED_BY(mLock);
    Listenings mListenings GUARDED_BY(mLock);
    Thermal mThermal GUARDED_BY(mLock);
    Rules mRules GUARDED_BY(mLock);
    Properties mProperties GUARDED_BY(mLock);
    History mHistory GUARDED_BY(mLock);
    std::map<int32_t, std::string> mRelatedSysInfo GUARDED_BY(mLock);
};

}  // namespace jorvsim
