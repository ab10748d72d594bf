// A raw (non-AIDL) service that sends back the binder it is given. IJorv has no method returning
// a binder, so this is how tests see what an object turns into after a trip to a peer and back.
// Its dump writes the pid of its process and the arguments, so a dump is seen to be made there.
// Header-only: the helper service binary uses it too.
#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_ibinder.h>
#include <android/binder_parcel.h>
#include <unistd.h>

#include <string>

namespace hbtest::mirror {

inline constexpr const char* kDescriptor = "hostbinder.test.IMirror";
inline constexpr transaction_code_t kReflect = FIRST_CALL_TRANSACTION;

inline std::string instanceFor(const std::string& jorvInstance) {
    return std::string(kDescriptor) + "/" + jorvInstance.substr(jorvInstance.rfind('/') + 1);
}

namespace detail {
inline void* onCreate(void* args) {
    return args;
}
inline void onDestroy(void*) {}
// Reply: bool "what I got was a proxy", then the binder itself.
inline binder_status_t onTransact(AIBinder*, transaction_code_t code, const AParcel* in,
                                  AParcel* out) {
    if (code != kReflect) return STATUS_UNKNOWN_TRANSACTION;
    AIBinder* got = nullptr;
    binder_status_t st = AParcel_readStrongBinder(in, &got);
    if (st != STATUS_OK) return st;
    ndk::SpAIBinder held(got);
    st = AParcel_writeBool(out, got != nullptr && AIBinder_isRemote(got));
    if (st != STATUS_OK) return st;
    return AParcel_writeStrongBinder(out, got);
}
inline binder_status_t onDump(AIBinder*, int fd, const char** args, uint32_t numArgs) {
    std::string text = std::to_string(getpid());
    for (uint32_t i = 0; i < numArgs; ++i) text += std::string(" ") + args[i];
    return write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size())
                   ? STATUS_OK
                   : STATUS_UNKNOWN_ERROR;
}
}  // namespace detail

inline const AIBinder_Class* mirrorClass() {
    static AIBinder_Class* const clazz = [] {
        AIBinder_Class* c = AIBinder_Class_define(kDescriptor, detail::onCreate, detail::onDestroy,
                                                  detail::onTransact);
        AIBinder_Class_setOnDump(c, detail::onDump);
        return c;
    }();
    return clazz;
}

inline ndk::SpAIBinder newMirror() {
    return ndk::SpAIBinder(AIBinder_new(mirrorClass(), nullptr));
}

struct Reflection {
    binder_status_t status = STATUS_UNKNOWN_ERROR;
    bool peerGotProxy = false;
    ndk::SpAIBinder back;
};

// Sends `binder` through the mirror `mirrorBinder` and returns what came back.
inline Reflection reflect(AIBinder* mirrorBinder, AIBinder* binder) {
    Reflection r;
    AParcel* in = nullptr;
    if (!AIBinder_associateClass(mirrorBinder, mirrorClass()) ||
        AIBinder_prepareTransaction(mirrorBinder, &in) != STATUS_OK) {
        return r;
    }
    r.status = AParcel_writeStrongBinder(in, binder);
    AParcel* out = nullptr;
    if (r.status == STATUS_OK) r.status = AIBinder_transact(mirrorBinder, kReflect, &in, &out, 0);
    AParcel_delete(in);  // null after a transact that took it
    const ndk::ScopedAParcel reply(out);
    AIBinder* back = nullptr;
    if (r.status == STATUS_OK) r.status = AParcel_readBool(out, &r.peerGotProxy);
    if (r.status == STATUS_OK) r.status = AParcel_readStrongBinder(out, &back);
    r.back.set(back);
    return r;
}

}  // namespace hbtest::mirror
