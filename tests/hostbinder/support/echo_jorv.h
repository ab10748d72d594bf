// EchoJorv: the IJorv test service, run in-process by tests and in the helper service binary.
// Its answers are deterministic functions of the arguments so a client can check that every
// argument arrived intact: stateRequest sends back the records with render() of the whole parcel
// in the first one's `extra`; request's requestType can ask for who calls, who serves, or an error
// status; callbacks are called back while serving, and requestOneWay keeps a log stateRequest can
// read. Header-only so the helper binary needs no support sources.
#pragma once

#include <aidl/vendor/vemra/hardware/jorv/BnJorv.h>
#include <aidl/vendor/vemra/hardware/jorv/IJorvCallback.h>
#include <aidl/vendor/vemra/hardware/jorv/JorvRequestData.h>
#include <aidl/vendor/vemra/hardware/jorv/JorvRequestParcel.h>
#include <android/binder_ibinder.h>
#include <binder/IPCThreadState.h>
#include <unistd.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace hbtest {

namespace jorv = ::aidl::vendor::vemra::hardware::jorv;

// The parcel as text, with its callback only as present or absent (the two ends hold different
// objects for it).
inline std::string render(const jorv::JorvRequestParcel& p) {
    jorv::JorvRequestParcel copy = p;
    copy.callback = nullptr;
    return copy.toString() + (p.callback ? " with a callback" : "");
}

inline jorv::JorvRequestData record(int32_t id, int32_t intValue = 0) {
    jorv::JorvRequestData d;
    d.id = id;
    d.intValue = intValue;
    return d;
}

class EchoJorv : public jorv::BnJorv {
public:
    enum RequestType : int32_t {
        kCallingPid = 99,
        kOneWayLog = 98,
        kServiceSpecific = 97,
        kIllegalState = 96,
        kFailedTransaction = 95,
        kCallingUid = 94,
        kServicePid = 93,
        kBadValue = 92,
    };
    static constexpr int32_t kServiceSpecificCode = 42;
    static constexpr int32_t kGoodbyeId = -1;
    static constexpr const char* kErrorMessage = "scripted failure";

    ndk::ScopedAStatus init() override { return ndk::ScopedAStatus::ok(); }

    ndk::ScopedAStatus request(const jorv::JorvRequestParcel& p, int32_t* ret) override {
        switch (p.requestType) {
            case kCallingPid: {
                const pid_t pid = AIBinder_getCallingPid();
                *ret = pid == android::IPCThreadState::self()->getCallingPid() ? pid : -1;
                return ndk::ScopedAStatus::ok();
            }
            case kCallingUid:
                *ret = static_cast<int32_t>(AIBinder_getCallingUid());
                return ndk::ScopedAStatus::ok();
            case kServicePid:
                *ret = getpid();
                return ndk::ScopedAStatus::ok();
            case kServiceSpecific:
                return ndk::ScopedAStatus::fromServiceSpecificErrorWithMessage(kServiceSpecificCode,
                                                                               kErrorMessage);
            case kIllegalState:
                return ndk::ScopedAStatus::fromExceptionCodeWithMessage(EX_ILLEGAL_STATE,
                                                                        kErrorMessage);
            case kFailedTransaction:
                return ndk::ScopedAStatus::fromStatus(STATUS_FAILED_TRANSACTION);
            case kBadValue:
                return ndk::ScopedAStatus::fromStatus(STATUS_BAD_VALUE);
            default:
                *ret = p.param0 + static_cast<int32_t>(p.dataList.size());
                return ndk::ScopedAStatus::ok();
        }
    }

    ndk::ScopedAStatus release(int32_t handle, int32_t* ret) override {
        *ret = handle;
        return ndk::ScopedAStatus::ok();
    }

    ndk::ScopedAStatus stateRequest(const jorv::JorvRequestParcel& p,
                                    std::vector<jorv::JorvRequestData>* ret) override {
        ret->clear();
        if (p.requestType == kOneWayLog) {
            std::lock_guard<std::mutex> lock(mu_);
            for (int32_t v : oneWayLog_) ret->push_back(record(v));
            return ndk::ScopedAStatus::ok();
        }
        *ret = p.dataList;
        if (!ret->empty()) ret->front().extra = render(p);
        return ndk::ScopedAStatus::ok();
    }

    ndk::ScopedAStatus listeningRegister(const jorv::JorvRequestParcel& p,
                                         const std::shared_ptr<jorv::IJorvCallback>& cb,
                                         int32_t* ret) override {
        {
            std::lock_guard<std::mutex> lock(mu_);
            *ret = nextHandle_++;
            listeners_[*ret] = cb;
        }
        return cb->onCallback(p.dataList);
    }

    ndk::ScopedAStatus listeningUnregister(int32_t handle, int32_t* ret) override {
        std::shared_ptr<jorv::IJorvCallback> cb;
        {
            std::lock_guard<std::mutex> lock(mu_);
            auto it = listeners_.find(handle);
            if (it == listeners_.end()) {
                *ret = -1;
                return ndk::ScopedAStatus::ok();
            }
            cb = std::move(it->second);
            listeners_.erase(it);
        }
        *ret = 0;
        return cb->onCallback({record(kGoodbyeId)});
    }

    ndk::ScopedAStatus propertyGet(const std::string& name, std::string* ret) override {
        *ret = name + "|" + std::to_string(name.size());
        return ndk::ScopedAStatus::ok();
    }

    ndk::ScopedAStatus propertySet(const std::string& name, const std::string& value,
                                   int32_t* ret) override {
        *ret = static_cast<int32_t>(name.size() * 1000 + value.size());
        return ndk::ScopedAStatus::ok();
    }

    ndk::ScopedAStatus thermalListeningRegister(const std::vector<int32_t>& ids,
                                                const std::shared_ptr<jorv::IJorvCallback>& cb,
                                                int32_t* ret) override {
        std::vector<jorv::JorvRequestData> data;
        for (size_t i = 0; i < ids.size(); ++i) {
            data.push_back(record(ids[i], static_cast<int32_t>(i)));
        }
        ndk::ScopedAStatus st = cb->onCallback(data);
        if (!st.isOk()) return st;
        *ret = static_cast<int32_t>(ids.size());
        return ndk::ScopedAStatus::ok();
    }

    ndk::ScopedAStatus thermalListeningUnregister(int32_t handle, int32_t* ret) override {
        *ret = handle;
        return ndk::ScopedAStatus::ok();
    }

    ndk::ScopedAStatus reserved10() override { return ndk::ScopedAStatus::ok(); }

    ndk::ScopedAStatus setRelatedSysInfo(int32_t a, const std::string& info,
                                         int32_t* ret) override {
        *ret = a - static_cast<int32_t>(info.size());
        return ndk::ScopedAStatus::ok();
    }

    ndk::ScopedAStatus ruleCtl(int32_t ruleId, int32_t status,
                               const std::vector<jorv::JorvRequestData>& data,
                               int32_t* ret) override {
        *ret = ruleId * 100 + status + static_cast<int32_t>(data.size());
        return ndk::ScopedAStatus::ok();
    }

    ndk::ScopedAStatus requestOneWay(const jorv::JorvRequestParcel& p) override {
        // The callback goes first: it makes this call slow, which is what lets a runtime that
        // serves one-way calls concurrently get them out of order.
        ndk::ScopedAStatus st = ndk::ScopedAStatus::ok();
        if (p.callback) st = p.callback->onCallback({record(p.param0)});
        std::lock_guard<std::mutex> lock(mu_);
        oneWayLog_.push_back(p.param0);
        return st;
    }

private:
    std::mutex mu_;
    std::map<int32_t, std::shared_ptr<jorv::IJorvCallback>> listeners_;
    int32_t nextHandle_ = 1;
    std::vector<int32_t> oneWayLog_;
};

}  // namespace hbtest
