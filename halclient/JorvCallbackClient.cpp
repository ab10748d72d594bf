#define LOG_TAG "JorvFramework-lib-vendor"

#include "JorvCallbackClient.h"

#include <android/log.h>
#include <log/log.h>

#include <algorithm>
#include <list>
#include <string>

#include "CallbackRegistries.h"
#include "common/ThreadAnnotations.h"

namespace jorvHalclient {

namespace {

using TransactionLog = BnJorvCallback::TransactionLog;

// Every served callback is logged untagged, so that it shows up beside the service's own lines.
void printLog(const TransactionLog& log) {
    __android_log_print(ANDROID_LOG_INFO, nullptr,
                        "BnJorvCallback::logFunc NDK BACKEND method_name %s exception_code %d "
                        "exception_message %s transaction_error %d service_specific_error_code %d",
                        log.method_name.c_str(), log.exception_code, log.exception_message.c_str(),
                        log.transaction_error, log.service_specific_error_code);
}

// Every client installs printLog. The stub reads logFunc on binder threads without a lock, so it
// is written only when it does not already hold printLog: after the first client that is never.
// The look and the write are one step under a lock of their own: the first clients of a process,
// made on several threads at once, would otherwise race on the std::function.
void installPrintLog() {
    static qar::Mutex installLock;
    qar::ExclusiveLock<qar::Mutex> lock(installLock);
    using LogFn = void (*)(const TransactionLog&);
    const LogFn* current = BnJorvCallback::logFunc.target<LogFn>();
    if (current == nullptr || *current != &printLog) BnJorvCallback::logFunc = printLog;
}

}  // namespace

JorvCallbackClient::JorvCallbackClient(const std::shared_ptr<IClientCallback>& callback,
                                       bool is_register, bool /*ignored*/)
    : callback(callback), is_register(is_register), is_path(false) {
    installPrintLog();
}

JorvCallbackClient::JorvCallbackClient(const std::shared_ptr<IClientCallbackByPath>& callbackByPath,
                                       bool is_register, bool is_path)
    : callbackByPath(callbackByPath), is_register(is_register), is_path(is_path) {
    installPrintLog();
}

JorvCallbackClient::~JorvCallbackClient() {
    ALOGI("ndk backend ~JorvCallbackClient");
}

::ndk::ScopedAStatus JorvCallbackClient::onCallback(const std::vector<JorvRequestData>& data) {
    if (!data.empty()) {
        if (is_path) {
            deliverByPath(data);
        } else {
            deliverById(data);
        }
    }
    if (!is_register) leaveRequestCallbacks();
    return ::ndk::ScopedAStatus::ok();
}

void JorvCallbackClient::deliverByPath(const std::vector<JorvRequestData>& data) {
    std::vector<std::string> values;
    std::vector<std::string> paths;
    values.reserve(data.size());
    paths.reserve(data.size());
    for (const JorvRequestData& record : data) {
        values.push_back(record.value.value_or(""));
        paths.push_back(record.path.value_or(""));
        if (record.path.has_value() && record.value.has_value()) {
            ALOGI("JorvCallbackClient::onCallback res_Id %s res_Value %s is_register %d",
                  record.path->c_str(), record.value->c_str(), is_register);
        }
    }
    if (callbackByPath != nullptr) {
        ALOGI("JorvCallback::onCallback call IClientCallback onCallback is_register %d",
              is_register);
        callbackByPath->onCallback(values, paths);
    }
}

void JorvCallbackClient::deliverById(const std::vector<JorvRequestData>& data) {
    std::list<QarClient::Resource> resources;
    for (const JorvRequestData& record : data) {
        resources.push_back(QarClient::Resource{record.id, record.value});
        if (record.value.has_value()) {
            ALOGI("JorvCallbackClient::onCallback res_Id %#x res_Value %s is_register %d",
                  record.id, record.value->c_str(), is_register);
        } else {
            ALOGI("JorvCallbackClient::onCallback res_Id %#x is_register %d", record.id,
                  is_register);
        }
    }
    if (callback != nullptr) {
        ALOGI("JorvCallback::onCallback call IClientCallback onCallback is_register %d",
              is_register);
        callback->onCallback(resources);
    }
}

void JorvCallbackClient::leaveRequestCallbacks() {
    // The entries are moved out and dropped after the lock is let go: dropping the last reference
    // runs this object's destructor, which must not run under the registry lock.
    std::vector<std::shared_ptr<JorvCallbackClient>> removed;
    {
        RequestCallbacksLock lock;
        auto& registry = requestCallbacks();
        const size_t before = registry.size();
        auto kept =
                std::stable_partition(registry.begin(), registry.end(),
                                      [this](const auto& entry) { return entry.get() != this; });
        for (auto it = kept; it != registry.end(); ++it) {
            ALOGI("callback is found in request_callbacks");
            removed.push_back(std::move(*it));
        }
        registry.erase(kept, registry.end());
        if (removed.empty()) ALOGE("callback not found in request_callbacks");
        ALOGI("JorvCallback::onCallback request callback called , remove from request_callbacks , "
              "request_callbacks size before %d after %d",
              static_cast<int>(before), static_cast<int>(registry.size()));
    }
}

}  // namespace jorvHalclient
