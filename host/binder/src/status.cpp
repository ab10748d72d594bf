// AStatus: an exception code plus, depending on the exception, a service-specific error or a
// transport status, and an optional message.
#include <string.h>

#include <cstdlib>
#include <string>

#include "status_internal.h"

namespace hostbinder {

std::string statusName(binder_status_t status) {
    switch (status) {
        case STATUS_OK:
            return "OK";
        case STATUS_UNKNOWN_ERROR:
            return "UNKNOWN_ERROR";
        case STATUS_NO_MEMORY:
            return "NO_MEMORY";
        case STATUS_INVALID_OPERATION:
            return "INVALID_OPERATION";
        case STATUS_BAD_VALUE:
            return "BAD_VALUE";
        case STATUS_BAD_TYPE:
            return "BAD_TYPE";
        case STATUS_NAME_NOT_FOUND:
            return "NAME_NOT_FOUND";
        case STATUS_PERMISSION_DENIED:
            return "PERMISSION_DENIED";
        case STATUS_NO_INIT:
            return "NO_INIT";
        case STATUS_ALREADY_EXISTS:
            return "ALREADY_EXISTS";
        case STATUS_DEAD_OBJECT:
            return "DEAD_OBJECT";
        case STATUS_FAILED_TRANSACTION:
            return "FAILED_TRANSACTION";
        case STATUS_BAD_INDEX:
            return "BAD_INDEX";
        case STATUS_NOT_ENOUGH_DATA:
            return "NOT_ENOUGH_DATA";
        case STATUS_WOULD_BLOCK:
            return "WOULD_BLOCK";
        case STATUS_TIMED_OUT:
            return "TIMED_OUT";
        case STATUS_UNKNOWN_TRANSACTION:
            return "UNKNOWN_TRANSACTION";
        case STATUS_FDS_NOT_ALLOWED:
            return "FDS_NOT_ALLOWED";
        case STATUS_UNEXPECTED_NULL:
            return "UNEXPECTED_NULL";
        default:
            return "Unknown status " + std::to_string(status);
    }
}

const char* exceptionName(binder_exception_t exception) {
    switch (exception) {
        case EX_NONE:
            return "EX_NONE";
        case EX_SECURITY:
            return "EX_SECURITY";
        case EX_BAD_PARCELABLE:
            return "EX_BAD_PARCELABLE";
        case EX_ILLEGAL_ARGUMENT:
            return "EX_ILLEGAL_ARGUMENT";
        case EX_NULL_POINTER:
            return "EX_NULL_POINTER";
        case EX_ILLEGAL_STATE:
            return "EX_ILLEGAL_STATE";
        case EX_NETWORK_MAIN_THREAD:
            return "EX_NETWORK_MAIN_THREAD";
        case EX_UNSUPPORTED_OPERATION:
            return "EX_UNSUPPORTED_OPERATION";
        case EX_SERVICE_SPECIFIC:
            return "EX_SERVICE_SPECIFIC";
        case EX_PARCELABLE:
            return "EX_PARCELABLE";
        case EX_HAS_REPLY_HEADER:
            return "EX_HAS_REPLY_HEADER";
        case EX_TRANSACTION_FAILED:
            return "EX_TRANSACTION_FAILED";
        default:
            return "UNKNOWN_EXCEPTION";
    }
}

namespace {

AStatus* makeStatus(binder_exception_t exception, int32_t code, const char* message) {
    auto* status = new AStatus;
    status->mException = exception;
    status->mCode = code;
    if (message != nullptr) status->mMessage = message;
    return status;
}

}  // namespace
}  // namespace hostbinder

using hostbinder::makeStatus;

AStatus* AStatus_newOk(void) {
    return makeStatus(EX_NONE, 0, nullptr);
}

AStatus* AStatus_fromExceptionCode(binder_exception_t exception) {
    return AStatus_fromExceptionCodeWithMessage(exception, nullptr);
}

AStatus* AStatus_fromExceptionCodeWithMessage(binder_exception_t exception, const char* message) {
    // A transaction failure always names a transport status, so that getStatus() is never OK
    // for a failed status.
    const int32_t code = exception == EX_TRANSACTION_FAILED ? STATUS_FAILED_TRANSACTION : 0;
    return makeStatus(exception, code, message);
}

AStatus* AStatus_fromServiceSpecificError(int32_t serviceSpecific) {
    return makeStatus(EX_SERVICE_SPECIFIC, serviceSpecific, nullptr);
}

AStatus* AStatus_fromServiceSpecificErrorWithMessage(int32_t serviceSpecific, const char* message) {
    return makeStatus(EX_SERVICE_SPECIFIC, serviceSpecific, message);
}

AStatus* AStatus_fromStatus(binder_status_t status) {
    if (status == STATUS_OK) return makeStatus(EX_NONE, 0, nullptr);
    return makeStatus(EX_TRANSACTION_FAILED, status, nullptr);
}

bool AStatus_isOk(const AStatus* status) {
    return status == nullptr || status->mException == EX_NONE;
}

binder_exception_t AStatus_getExceptionCode(const AStatus* status) {
    return status == nullptr ? EX_NONE : status->mException;
}

int32_t AStatus_getServiceSpecificError(const AStatus* status) {
    if (status == nullptr || status->mException != EX_SERVICE_SPECIFIC) return 0;
    return status->mCode;
}

binder_status_t AStatus_getStatus(const AStatus* status) {
    if (status == nullptr || status->mException != EX_TRANSACTION_FAILED) return STATUS_OK;
    return status->mCode;
}

const char* AStatus_getMessage(const AStatus* status) {
    return status == nullptr ? "" : status->mMessage.c_str();
}

const char* AStatus_getDescription(const AStatus* status) {
    std::string text;
    if (AStatus_isOk(status)) {
        text = "No error";
    } else {
        text = "Status(" + std::to_string(status->mException) + ", " +
               hostbinder::exceptionName(status->mException) + "): '";
        if (status->mException == EX_SERVICE_SPECIFIC) {
            text += std::to_string(status->mCode) + ": ";
        } else if (status->mException == EX_TRANSACTION_FAILED) {
            text += hostbinder::statusName(status->mCode) + ": ";
        }
        text += status->mMessage + "'";
    }
    // Released with free() by AStatus_deleteDescription.
    return strdup(text.c_str());
}

void AStatus_deleteDescription(const char* description) {
    free(const_cast<char*>(description));
}

void AStatus_delete(AStatus* status) {
    delete status;
}
