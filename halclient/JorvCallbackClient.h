#pragma once

// The library's side of the service's callback interface: routes IJorvCallback::onCallback to the
// caller's IClientCallback or IClientCallbackByPath. Internal.

#include <aidl/vendor/vemra/hardware/jorv/BnJorvCallback.h>

#include <memory>
#include <vector>

#include "JorvClientCallback.h"

namespace jorvHalclient {

using ::aidl::vendor::vemra::hardware::jorv::BnJorvCallback;
using ::aidl::vendor::vemra::hardware::jorv::JorvRequestData;

// Made with ndk::SharedRefBase::make and held by shared pointer. A one-shot client (is_register
// false) removes itself from request_callbacks on its first callback; a registration client is
// kept by the listening registry until unregistered.
class JorvCallbackClient : public BnJorvCallback {
public:
    // Serves `callback` by id. The third argument is accepted and ignored: a client made from an
    // IClientCallback always routes by id.
    explicit JorvCallbackClient(const std::shared_ptr<IClientCallback>& callback,
                                bool is_register = true, bool ignored = false);
    JorvCallbackClient(const std::shared_ptr<IClientCallbackByPath>& callbackByPath,
                       bool is_register, bool is_path);
    ~JorvCallbackClient() override;

    // Runs on a binder thread. Calls the caller's callback with no library lock held, then (for a
    // one-shot client) leaves request_callbacks. Always ok.
    ::ndk::ScopedAStatus onCallback(const std::vector<JorvRequestData>& data) override;

    std::shared_ptr<IClientCallback> callback;
    std::shared_ptr<IClientCallbackByPath> callbackByPath;
    const bool is_register;
    const bool is_path;

private:
    void deliverById(const std::vector<JorvRequestData>& data);
    void deliverByPath(const std::vector<JorvRequestData>& data);
    void leaveRequestCallbacks();
};

}  // namespace jorvHalclient
