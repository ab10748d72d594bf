#define LOG_TAG "JORVFramework-lib-vendor"

#include "JorvHalConnection.h"

#include <android/binder_manager.h>
#include <log/log.h>

#include "CallbackRegistries.h"
#include "JorvHalclient.h"
#include "ServiceLink.h"

namespace jorvHalclient {

// Definition order is initialisation order within this file (and the reverse is destruction order
// at exit): the connection, its lock, then the two callback registries, each after its mutex.
std::shared_ptr<IJorv> g_jorv_hal;
qar::SharedTimedMutex g_jorv_hal_mutex;
AIBinder_DeathRecipient* g_jorv_death_recipient = nullptr;
qar::Mutex listening_callback_mutex;
std::vector<JorvCallbackGroup> listening_callbacks;
std::mutex request_callback_mutex;
std::vector<std::shared_ptr<JorvCallbackClient>> request_callbacks;
RequestCallbacksCapability gRequestCallbacksCapability;

namespace {

// Runs on a binder thread when the service dies. The next operation reconnects; nothing here waits
// for the service. The cookie is deliberately ignored.
void onJorvHalDied(void* /*cookie*/) {
    qar::ExclusiveLock lock(g_jorv_hal_mutex);
    g_jorv_hal = nullptr;
    ALOGE("Jorv HAL Service died");
}

int isDeclaredFlag() {
    return AServiceManager_isDeclared(kJorvInstance) ? 1 : 0;
}

}  // namespace

void get_jorv_hal_and_link_to_death() {
    {
        qar::SharedLock lock(g_jorv_hal_mutex);
        if (g_jorv_hal != nullptr) return;
    }
    // There is no atomic upgrade: another thread may connect between the two holds. A thread that
    // loses that race logs the "not declared" line with the (then normally true) answer, which
    // integrators have learnt to read as a lost race; the existing connection is kept.
    qar::ExclusiveLock lock(g_jorv_hal_mutex);
    if (g_jorv_hal != nullptr || !AServiceManager_isDeclared(kJorvInstance)) {
        ALOGE("Jorv is not declared, AServiceManager_isDeclared:%d", isDeclaredFlag());
        return;
    }

    // Blocks, with the exclusive hold, until the service is published.
    ndk::SpAIBinder binder(AServiceManager_waitForService(kJorvInstance));
    g_jorv_hal = IJorv::fromBinder(binder);
    if (g_jorv_hal == nullptr) {
        ALOGE("Jorv HAL Service not found");
        return;
    }

    if (!qar::relinkToDeath(*g_jorv_hal, &g_jorv_death_recipient, onJorvHalDied)) {
        g_jorv_hal = nullptr;
        ALOGE("Unable to link to g_jorv_hal death notifications!");
    }
}

void dropJorvHal() {
    qar::ExclusiveLock lock(g_jorv_hal_mutex);
    g_jorv_hal = nullptr;
}

bool checkJorvStatus(const ndk::ScopedAStatus& status, const char* name) {
    if (qar::isStatusOk(status)) return true;
    ALOGE("%s() failed: jorv HAL service not available", name);
    dropJorvHal();
    return false;
}

void jorv_init() {
    ALOGI("jorv client jorv_init");
    get_jorv_hal_and_link_to_death();
    ndk::ScopedAStatus status;
    {
        qar::SharedLock lock(g_jorv_hal_mutex);
        if (g_jorv_hal == nullptr) return;
        status = g_jorv_hal->init();
    }
    checkJorvStatus(status, "jorv_init");
}

}  // namespace jorvHalclient
