#include "QarHal.h"

#include "qar/QarHalConnection.h"

namespace qartest {

bool qarHalConnected() {
    qar::SharedLock lock(qarEvent::g_qar_hal_mutex);
    return qarEvent::g_qar_hal != nullptr;
}

void resetQarHal() {
    qar::ExclusiveLock lock(qarEvent::g_qar_hal_mutex);
    AIBinder_DeathRecipient_delete(qarEvent::g_qar_death_recipient);
    qarEvent::g_qar_death_recipient = nullptr;
    qarEvent::g_qar_hal = nullptr;
}

}  // namespace qartest
