#include "common/ServiceCall.h"

#include <android/log.h>

namespace qar {

void dropConnection(SharedTimedMutex& mutex,
                    std::shared_ptr<::aidl::vendor::vemra::hardware::jorv::IJorv>& hal) {
    ExclusiveLock lock(mutex);
    hal = nullptr;
}

bool checkCallStatus(const ndk::ScopedAStatus& status, const FailureLog& log, const char* name,
                     SharedTimedMutex& mutex,
                     std::shared_ptr<::aidl::vendor::vemra::hardware::jorv::IJorv>& hal) {
    if (isStatusOk(status)) return true;
    __android_log_print(ANDROID_LOG_ERROR, log.tag, log.format, name);
    dropConnection(mutex, hal);
    return false;
}

}  // namespace qar
