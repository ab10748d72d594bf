#define LOG_TAG "[QAR_CLIENT]"

#include "QarHalConnection.h"

#include <android/binder_manager.h>
#include <log/log.h>

#include "QarEventApi.h"
#include "QarHalCall.h"
#include "common/ServiceCall.h"
#include "common/ServiceLink.h"

namespace qarEvent {

using ::qar::kJorvInstance;

// Definition order is construction order: the lock before the pointer it guards, so that at exit
// the pointer is destroyed first.
qar::SharedTimedMutex g_qar_hal_mutex;
std::shared_ptr<IJorv> g_qar_hal;
AIBinder_DeathRecipient* g_qar_death_recipient = nullptr;

namespace {

// Forgets the connection, so that the next call reconnects.
void dropQarHal() EXCLUDES(g_qar_hal_mutex) {
    qar::ExclusiveLock lock(g_qar_hal_mutex);
    g_qar_hal = nullptr;
}

// Runs on a binder thread when the service dies. The next call reconnects; the cookie is ignored.
void onQarHalDied(void* /*cookie*/) {
    dropQarHal();
    ALOGE("Jorv HAL Service died");
}

}  // namespace

int qar_get_jorv_hal_and_link_to_death() {
    {
        qar::SharedLock lock(g_qar_hal_mutex);
        if (g_qar_hal != nullptr) return 0;
    }
    // Not re-checked under the exclusive hold: threads that all found the connection missing each
    // look the service up, and the last one's proxy is kept. The look-up does not wait, so this
    // costs a few round trips at most.
    qar::ExclusiveLock lock(g_qar_hal_mutex);
    if (!AServiceManager_isDeclared(kJorvInstance)) {
        ALOGE("Jorv is not declared, AServiceManager_isDeclared:%d",
              AServiceManager_isDeclared(kJorvInstance) ? 1 : 0);
        return -1;
    }

    ndk::SpAIBinder binder(AServiceManager_checkService(kJorvInstance));
    g_qar_hal = IJorv::fromBinder(binder);
    if (g_qar_hal == nullptr) {
        ALOGE("Jorv HAL Service not found");
        return -1;
    }

    if (!qar::relinkToDeath(*g_qar_hal, &g_qar_death_recipient, onQarHalDied)) {
        g_qar_hal = nullptr;
        ALOGE("Unable to link to g_qar_hal death notifications!");
        return -1;
    }
    return 0;
}

bool connectQarHal() {
    const int result = qar_get_jorv_hal_and_link_to_death();
    if (result != 0) ALOGE("qar_get_jorv_hal_and_link_to_death error:%d", result);
    return result == 0;
}

bool checkQarStatus(const ndk::ScopedAStatus& status, const char* name) {
    static constexpr qar::FailureLog kFailureLog = {LOG_TAG,
                                                    "%s() failed : jorv HAL service not available"};
    return qar::checkCallStatus(status, kFailureLog, name, dropQarHal);
}

}  // namespace qarEvent

using qar::CallOutcome;
using qarEvent::IJorv;

int32_t qarInit() {
    // Deliberately at error priority, so that it shows in logs that keep errors only.
    ALOGE("qarInit enter");
    // A failure is reported under jorvHalclient's name for init: callers parse that exact line.
    switch (qarEvent::callQarHal("jorv_init", [](IJorv& hal) { return hal.init(); })) {
        case CallOutcome::kNotConnected:
        case CallOutcome::kNotSent:
            return -1;
        case CallOutcome::kVanished:
            ALOGE("g_qar_hal is null");
            return -1;
        case CallOutcome::kFailed:
            return -2;
        case CallOutcome::kOk:
            break;
    }
    return 0;
}
