#include "ServiceEnv.h"

#include <android/binder_manager.h>
#include <stdlib.h>

#include <filesystem>

#include "halclient/CallbackRegistries.h"
#include "halclient/JorvHalConnection.h"
#include "qar/QarHalConnection.h"

namespace qartest {

ServiceEnv::ServiceEnv() {
    char pattern[] = "/tmp/qar-client-test-XXXXXX";
    mDir = mkdtemp(pattern);
    HostBinder_setServiceDir(mDir.c_str());
    resetConnections();
    resetCallbackRegistries();
}

ServiceEnv::~ServiceEnv() {
    // Unlink first so that the service's death below reaches nobody in the next test.
    resetConnections();
    resetCallbackRegistries();
    if (mFake != nullptr) HostBinder_killService(kInstance);
    mFake = nullptr;
    undeclare();
    std::error_code ignored;
    std::filesystem::remove_all(mDir, ignored);
}

std::shared_ptr<FakeJorv> ServiceEnv::publish() {
    if (mFake != nullptr) HostBinder_killService(kInstance);
    mFake = ::ndk::SharedRefBase::make<FakeJorv>();
    AServiceManager_addService(mFake->asBinder().get(), kInstance);
    return mFake;
}

bool jorvHalConnected() {
    qar::SharedLock lock(jorvHalclient::g_jorv_hal_mutex);
    return jorvHalclient::g_jorv_hal != nullptr;
}

bool qarHalConnected() {
    qar::SharedLock lock(qarEvent::g_qar_hal_mutex);
    return qarEvent::g_qar_hal != nullptr;
}

void resetConnections() {
    {
        qar::ExclusiveLock lock(jorvHalclient::g_jorv_hal_mutex);
        AIBinder_DeathRecipient_delete(jorvHalclient::g_jorv_death_recipient);
        jorvHalclient::g_jorv_death_recipient = nullptr;
        jorvHalclient::g_jorv_hal = nullptr;
    }
    qar::ExclusiveLock lock(qarEvent::g_qar_hal_mutex);
    AIBinder_DeathRecipient_delete(qarEvent::g_qar_death_recipient);
    qarEvent::g_qar_death_recipient = nullptr;
    qarEvent::g_qar_hal = nullptr;
}

void resetCallbackRegistries() {
    using namespace jorvHalclient;
    std::vector<std::shared_ptr<JorvCallbackClient>> pending;
    std::vector<JorvCallbackGroup> groups;
    {
        RequestCallbacksLock lock;
        pending.swap(requestCallbacks());
    }
    {
        qar::ExclusiveLock lock(listening_callback_mutex);
        groups.swap(listening_callbacks);
    }
}

size_t requestCallbackCount() {
    jorvHalclient::RequestCallbacksLock lock;
    return jorvHalclient::requestCallbacks().size();
}

size_t listeningGroupCount() {
    qar::ExclusiveLock lock(jorvHalclient::listening_callback_mutex);
    return jorvHalclient::listening_callbacks.size();
}

}  // namespace qartest
