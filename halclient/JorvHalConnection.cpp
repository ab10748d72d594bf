#define LOG_TAG "JORVFramework-lib-vendor"

#include "JorvHalConnection.h"

#include <android/binder_manager.h>
#include <log/log.h>

#include "JorvHalclient.h"
#include "JorvServiceCall.h"
#include "common/ServiceCall.h"
#include "common/ServiceLink.h"

namespace jorvHalclient {

using ::qar::kJorvInstance;

namespace {

// Forgets the connection, so that the next call reconnects.
void dropJorvHal() EXCLUDES(g_jorv_hal_mutex) {
    qar::ExclusiveLock lock(g_jorv_hal_mutex);
    g_jorv_hal = nullptr;
}

// Runs on a binder thread when the service dies. The next operation reconnects; nothing here waits
// for the service. The cookie is deliberately ignored.
void onJorvHalDied(void* /*cookie*/) {
    dropJorvHal();
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
    // loses that race logs the "not declared" line with the (then normally true) answer, so that
    // a 1 in that line marks a lost race; the existing connection is kept.
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

bool checkJorvStatus(const ndk::ScopedAStatus& status, const char* name) {
    static constexpr qar::FailureLog kFailureLog = {LOG_TAG,
                                                    "%s() failed: jorv HAL service not available"};
    return qar::checkCallStatus(status, kFailureLog, name, dropJorvHal);
}

void jorv_init() {
    ALOGI("jorv client jorv_init");
    callJorvHal("jorv_init", [](IJorv& hal) { return std::optional(hal.init()); });
}

}  // namespace jorvHalclient
