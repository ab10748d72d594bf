#pragma once

// Pieces shared by the library's two connections to the service (jorvHalclient's and the event
// API's). Internal.

#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <android/binder_ibinder.h>

namespace qar {

using ::aidl::vendor::vemra::hardware::jorv::IJorv;

// The service instance both connections look up.
inline constexpr const char kJorvInstance[] = "vendor.vemra.hardware.jorv.IJorv/default";

// Replaces `*recipient` by a new recipient calling `onDied` and links it to `proxy`, with the
// proxy as cookie. The previous recipient belongs to an earlier connection: deleting it also
// unlinks it, so it neither leaks on every reconnect nor reports a later death a second time.
// Returns whether the link holds. Called with the connection's lock held exclusively.
inline bool relinkToDeath(IJorv& proxy, AIBinder_DeathRecipient** recipient,
                          AIBinder_DeathRecipient_onBinderDied onDied) {
    AIBinder_DeathRecipient_delete(*recipient);
    *recipient = AIBinder_DeathRecipient_new(onDied);
    return AIBinder_linkToDeath(proxy.asBinder().get(), *recipient, &proxy) == STATUS_OK;
}

}  // namespace qar
