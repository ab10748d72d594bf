#pragma once

// A resource-control service whose every answer is read from the fuzzer's input: the status (ok,
// an exception, a service-specific error or a transport error), the out-value, the records of a
// state query, a property's text, and whether to call the callback it was given before answering
// (and with which records). It keeps a log of what it answered so that the harness can tell what
// each library call should have returned.

#include <aidl/vendor/vemra/hardware/jorv/BnJorv.h>
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/ThreadAnnotations.h"

namespace qarfuzz {

using ::aidl::vendor::vemra::hardware::jorv::BnJorv;
using ::aidl::vendor::vemra::hardware::jorv::IJorvCallback;
using ::aidl::vendor::vemra::hardware::jorv::JorvRequestData;
using ::aidl::vendor::vemra::hardware::jorv::JorvRequestParcel;

// Property values of 256 bytes or more do not fit the library's buffer (it aborts by contract),
// so the service never answers with one.
inline constexpr size_t kMaxPropertyText = 255;

// One call the service answered.
struct Served {
    std::string op;
    bool ok = true;                        // the status the service returned was ok
    int32_t out = 0;                       // the out-value it wrote (ops with an integer result)
    std::vector<JorvRequestData> records;  // stateRequest's answer
    std::string text;                      // propertyGet's answer
    std::optional<JorvRequestParcel> parcel;
    bool hadCallback = false;  // a callback object came with the call
    // Records the service called that callback with before answering, if it did.
    std::optional<std::vector<JorvRequestData>> calledBackWith;
};

class ScriptedJorv : public BnJorv {
public:
    // Answers come from `provider` until end(); between inputs every call is answered ok with
    // zeros. requestOneWay never reads the script: it is served after the caller has moved on.
    void begin(FuzzedDataProvider* provider);
    void end();
    // The calls answered since the last take, in order.
    std::vector<Served> take();

    ::ndk::ScopedAStatus init() override;
    ::ndk::ScopedAStatus request(const JorvRequestParcel& parcel, int32_t* out) override;
    ::ndk::ScopedAStatus release(int32_t handle, int32_t* out) override;
    ::ndk::ScopedAStatus stateRequest(const JorvRequestParcel& parcel,
                                      std::vector<JorvRequestData>* out) override;
    ::ndk::ScopedAStatus listeningRegister(const JorvRequestParcel& parcel,
                                           const std::shared_ptr<IJorvCallback>& callback,
                                           int32_t* out) override;
    ::ndk::ScopedAStatus listeningUnregister(int32_t handle, int32_t* out) override;
    ::ndk::ScopedAStatus propertyGet(const std::string& name, std::string* out) override;
    ::ndk::ScopedAStatus propertySet(const std::string& name, const std::string& value,
                                     int32_t* out) override;
    ::ndk::ScopedAStatus thermalListeningRegister(const std::vector<int32_t>& ids,
                                                  const std::shared_ptr<IJorvCallback>& callback,
                                                  int32_t* out) override;
    ::ndk::ScopedAStatus thermalListeningUnregister(int32_t handle, int32_t* out) override;
    ::ndk::ScopedAStatus reserved10() override;
    ::ndk::ScopedAStatus setRelatedSysInfo(int32_t a, const std::string& info,
                                           int32_t* out) override;
    ::ndk::ScopedAStatus ruleCtl(int32_t ruleId, int32_t status,
                                 const std::vector<JorvRequestData>& data, int32_t* out) override;
    ::ndk::ScopedAStatus requestOneWay(const JorvRequestParcel& parcel) override;

private:
    struct Reply {
        ::ndk::ScopedAStatus status;
        Served served;
    };

    // Reads one answer for `op`; `asked` are the records the caller sent (answers often name the
    // same ids).
    Reply next(const char* op, const std::vector<JorvRequestData>& asked, bool wantsRecords,
               bool wantsText) EXCLUDES(mLock);
    // Calls `callback` back when the script says so, then logs the call and returns its status.
    ::ndk::ScopedAStatus finish(Reply reply, const std::shared_ptr<IJorvCallback>& callback)
            EXCLUDES(mLock);
    ::ndk::ScopedAStatus answerInt(Reply reply, int32_t* out,
                                   const std::shared_ptr<IJorvCallback>& callback = nullptr);

    qar::Mutex mLock;
    FuzzedDataProvider* mProvider GUARDED_BY(mLock) = nullptr;
    std::vector<Served> mLog GUARDED_BY(mLock);
};

}  // namespace qarfuzz
