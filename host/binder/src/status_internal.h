// The AStatus object and the names used to describe transport statuses and exceptions.
#pragma once

#include <android/binder_status.h>

#include <string>

struct AStatus {
    binder_exception_t mException = EX_NONE;
    // The service-specific code for EX_SERVICE_SPECIFIC, the transport status for
    // EX_TRANSACTION_FAILED, otherwise 0.
    int32_t mCode = 0;
    std::string mMessage;
};

namespace hostbinder {

// "DEAD_OBJECT", ... or "Unknown status <n>".
std::string statusName(binder_status_t status);
// "EX_SECURITY", ... or "UNKNOWN_EXCEPTION".
const char* exceptionName(binder_exception_t exception);

}  // namespace hostbinder
