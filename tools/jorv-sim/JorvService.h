// The binder face of the reference service: decodes each call, lets fault injection have its say,
// runs it on the model, writes its transcript line and hands the model's effects on.
#pragma once

#include <aidl/vendor/vemra/hardware/jorv/BnJorv.h>
#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "CallGate.h"
#include "Faults.h"
#include "Model.h"
#include "Transcript.h"

namespace jorvsim {

class JorvService : public ::aidl::vendor::vemra::hardware::jorv::BnJorv {
public:
    struct Context {
        Model& model;
        Faults& faults;
        Transcript& transcript;
        // Shared with the owner: a call that the runtime still delivers after shutdown finds
        // the gate closed and touches nothing else.
        std::shared_ptr<CallGate> gate;
        // Carries out a model call's effects (callbacks, transcript events, log lines).
        std::function<void(Effects)> apply;
        // After every call served: the model's soonest expiry may have moved.
        std::function<void()> afterCall;
        // After the last call that --exit-after allows.
        std::function<void()> exitDue;
    };

    explicit JorvService(Context context) : mContext(std::move(context)) {}

    ::ndk::ScopedAStatus init() override;
    ::ndk::ScopedAStatus request(const JorvRequestParcel& parcel, int32_t* handle) override;
    ::ndk::ScopedAStatus release(int32_t handle, int32_t* result) override;
    ::ndk::ScopedAStatus stateRequest(const JorvRequestParcel& parcel,
                                      std::vector<JorvRequestData>* answers) override;
    ::ndk::ScopedAStatus listeningRegister(const JorvRequestParcel& parcel,
                                           const std::shared_ptr<IJorvCallback>& callback,
                                           int32_t* handle) override;
    ::ndk::ScopedAStatus listeningUnregister(int32_t handle, int32_t* result) override;
    ::ndk::ScopedAStatus propertyGet(const std::string& name, std::string* value) override;
    ::ndk::ScopedAStatus propertySet(const std::string& name, const std::string& value,
                                     int32_t* result) override;
    ::ndk::ScopedAStatus thermalListeningRegister(const std::vector<int32_t>& ids,
                                                  const std::shared_ptr<IJorvCallback>& callback,
                                                  int32_t* handle) override;
    ::ndk::ScopedAStatus thermalListeningUnregister(int32_t handle, int32_t* result) override;
    ::ndk::ScopedAStatus reserved10() override;
    ::ndk::ScopedAStatus setRelatedSysInfo(int32_t a, const std::string& info,
                                           int32_t* result) override;
    ::ndk::ScopedAStatus ruleCtl(int32_t ruleId, int32_t status,
                                 const std::vector<JorvRequestData>& data,
                                 int32_t* result) override;
    ::ndk::ScopedAStatus requestOneWay(const JorvRequestParcel& parcel) override;

private:
    // body(pid, effects, resultText) runs the call on the model and describes its answer.
    using Body = std::function<Status(pid_t, Effects*, std::string*)>;
    ::ndk::ScopedAStatus serve(const char* op, const std::string& args, const Body& body);

    const Context mContext;
    std::atomic<uint64_t> mSeq{0};
};

// Drops the values (and history texts) of records, for --omit-values.
void omitValues(DataList* records);

}  // namespace jorvsim
