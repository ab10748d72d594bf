#include "common/ServiceCall.h"

#include <android/log.h>

namespace qar {

bool checkCallStatus(const ndk::ScopedAStatus& status, const FailureLog& log, const char* name,
                     void (*drop)()) {
    if (isStatusOk(status)) return true;
    __android_log_print(ANDROID_LOG_ERROR, log.tag, log.format, name);
    drop();
    return false;
}

}  // namespace qar
