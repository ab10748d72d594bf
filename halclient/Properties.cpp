#define LOG_TAG "JORVFramework-lib-vendor"

#include <log/log.h>

#include <cstring>

#include "JorvHalclient.h"
#include "JorvServiceCall.h"

namespace jorvHalclient {

namespace {

// The size of the buffer jorvPropertyGet hands out, part of its contract: callers may use all of
// it.
constexpr size_t kPropertyValueSize = 256;

}  // namespace

char* jorvPropertyGet(const std::string& name) {
    ALOGI("jorv client jorvPropertyGet");
    char* buffer = new char[kPropertyValueSize];
    // Without a connection the buffer goes back unfilled; it still has to read as a C string.
    buffer[0] = '\0';
    callJorvHal("jorvPropertyGet", [&](IJorv& hal) {
        std::string value;
        ndk::ScopedAStatus status = hal.propertyGet(name, &value);
        // Copied whatever the status: a failed call leaves the value empty. A value that does not
        // fit is a broken service or property, and the caller's buffer contract cannot be kept.
        LOG_ALWAYS_FATAL_IF(value.size() >= kPropertyValueSize,
                            "jorvPropertyGet: value of %zu bytes does not fit in %zu", value.size(),
                            kPropertyValueSize);
        memcpy(buffer, value.c_str(), value.size() + 1);
        return std::optional(std::move(status));
    });
    ALOGI("jorvPropertyGet %s ", buffer);
    return buffer;
}

int jorvPropertySet(const std::string& name, const std::string& value) {
    ALOGI("jorv client jorvPropertySet");
    int32_t result = -1;
    callJorvHal("jorvPropertySet",
                [&](IJorv& hal) { return std::optional(hal.propertySet(name, value, &result)); });
    return result;
}

}  // namespace jorvHalclient
