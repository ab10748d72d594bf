#include "Format.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>

namespace jorvsim {
namespace {

// Ids this small are command codes, rule or thermal ids: decimal reads better for them.
constexpr int32_t kDecimalIdLimit = 0x10000;

void appendField(std::string* out, const char* name, const std::optional<std::string>& text) {
    if (!text.has_value()) return;
    *out += ' ';
    *out += name;
    *out += '=';
    *out += quotedText(*text);
}

}  // namespace

const char* requestTypeName(int32_t type) {
    switch (type) {
        case RequestType::kState:
            return "state";
        case RequestType::kResource:
            return "resource";
        case RequestType::kSceneAction:
            return "scene-action";
        case RequestType::kDiagnostic:
            return "diagnostic";
        case RequestType::kThermal:
            return "thermal";
        case RequestType::kEvent:
            return "event";
        case RequestType::kNotification:
            return "notification";
        case RequestType::kHistory:
            return "history";
        case RequestType::kPlatform:
            return "platform";
        case RequestType::kPowerMode:
            return "power-mode";
        case RequestType::kPowerConsumption:
            return "power";
        case RequestType::kDataSet:
            return "data-set";
        case RequestType::kFeatureStatus:
            return "feature";
    }
    return "unknown";
}

std::string formatId(int32_t id) {
    if (id > -kDecimalIdLimit && id < kDecimalIdLimit) return std::to_string(id);
    char hex[16];
    std::snprintf(hex, sizeof(hex), "0x%08" PRIx32, static_cast<uint32_t>(id));
    return hex;
}

std::string formatRecord(const JorvRequestData& record) {
    std::string out = "{id=" + formatId(record.id);
    if (record.intValue != 0) out += " int=" + std::to_string(record.intValue);
    appendField(&out, "value", record.value);
    appendField(&out, "path", record.path);
    appendField(&out, "extra", record.extra);
    out += '}';
    return out;
}

std::string formatRecords(const DataList& records) {
    std::string out = "[";
    for (size_t i = 0; i < records.size(); ++i) {
        if (i > 0) out += ' ';
        out += formatRecord(records[i]);
    }
    out += ']';
    return out;
}

std::string formatParcel(const JorvRequestParcel& parcel) {
    std::string out = "{type=" + std::to_string(parcel.requestType) + "(" +
                      requestTypeName(parcel.requestType) + ")";
    out += " data=" + formatRecords(parcel.dataList);
    out += parcel.flag ? " flag=true" : " flag=false";
    out += " param0=" + std::to_string(parcel.param0);
    out += " param1=" + std::to_string(parcel.param1);
    out += " param3=" + std::to_string(parcel.param3);
    out += " param5=" + std::to_string(parcel.param5);
    if (parcel.paths.has_value()) {
        out += " paths=[";
        for (size_t i = 0; i < parcel.paths->size(); ++i) {
            if (i > 0) out += ' ';
            const std::optional<std::string>& path = (*parcel.paths)[i];
            out += path.has_value() ? quotedText(*path) : "null";
        }
        out += ']';
    }
    if (parcel.callback != nullptr) out += " callback=yes";
    appendField(&out, "text1", parcel.text1);
    appendField(&out, "text2", parcel.text2);
    if (parcel.numbers.has_value()) out += " numbers=" + formatInts(*parcel.numbers);
    out += '}';
    return out;
}

std::string formatInts(const std::vector<int32_t>& values) {
    std::string out = "[";
    for (size_t i = 0; i < values.size(); ++i) {
        if (i > 0) out += ' ';
        out += formatId(values[i]);
    }
    out += ']';
    return out;
}

std::string exceptionName(binder_exception_t exception) {
    // The runtime describes a status as "Status(<code>, <name>): '<message>'".
    const std::string description =
            ::ndk::ScopedAStatus(AStatus_fromExceptionCode(exception)).getDescription();
    const size_t start = description.find(", ");
    const size_t end = description.find("):", start);
    if (start == std::string::npos || end == std::string::npos) return "EX_UNKNOWN";
    return description.substr(start + 2, end - start - 2);
}

const char* transportStatusName(binder_status_t status) {
    switch (status) {
        case STATUS_OK:
            return "STATUS_OK";
        case STATUS_UNKNOWN_ERROR:
            return "STATUS_UNKNOWN_ERROR";
        case STATUS_NO_MEMORY:
            return "STATUS_NO_MEMORY";
        case STATUS_INVALID_OPERATION:
            return "STATUS_INVALID_OPERATION";
        case STATUS_BAD_VALUE:
            return "STATUS_BAD_VALUE";
        case STATUS_BAD_TYPE:
            return "STATUS_BAD_TYPE";
        case STATUS_NAME_NOT_FOUND:
            return "STATUS_NAME_NOT_FOUND";
        case STATUS_PERMISSION_DENIED:
            return "STATUS_PERMISSION_DENIED";
        case STATUS_NO_INIT:
            return "STATUS_NO_INIT";
        case STATUS_ALREADY_EXISTS:
            return "STATUS_ALREADY_EXISTS";
        case STATUS_DEAD_OBJECT:
            return "STATUS_DEAD_OBJECT";
        case STATUS_FAILED_TRANSACTION:
            return "STATUS_FAILED_TRANSACTION";
        case STATUS_BAD_INDEX:
            return "STATUS_BAD_INDEX";
        case STATUS_NOT_ENOUGH_DATA:
            return "STATUS_NOT_ENOUGH_DATA";
        case STATUS_WOULD_BLOCK:
            return "STATUS_WOULD_BLOCK";
        case STATUS_TIMED_OUT:
            return "STATUS_TIMED_OUT";
        case STATUS_UNKNOWN_TRANSACTION:
            return "STATUS_UNKNOWN_TRANSACTION";
        case STATUS_FDS_NOT_ALLOWED:
            return "STATUS_FDS_NOT_ALLOWED";
        case STATUS_UNEXPECTED_NULL:
            return "STATUS_UNEXPECTED_NULL";
    }
    return "STATUS_OTHER";
}

std::string formatStatus(const ::ndk::ScopedAStatus& status) {
    if (status.isOk()) return "ok";
    const binder_exception_t exception = status.getExceptionCode();
    if (exception == EX_TRANSACTION_FAILED) {
        return std::string("transport ") + transportStatusName(status.getStatus()) + "(" +
               std::to_string(status.getStatus()) + ")";
    }
    std::string out;
    if (exception == EX_SERVICE_SPECIFIC) {
        out = "service-specific " + std::to_string(status.getServiceSpecificError());
    } else {
        out = "exception " + exceptionName(exception) + "(" + std::to_string(exception) + ")";
    }
    const char* message = status.getMessage();
    if (message != nullptr && message[0] != '\0') out += " " + quotedText(message);
    return out;
}

std::string formatSeconds(std::chrono::nanoseconds duration) {
    const int64_t millis = std::chrono::duration_cast<std::chrono::milliseconds>(duration).count();
    const int64_t magnitude = std::llabs(millis);
    char text[32];
    std::snprintf(text, sizeof(text), "%s%" PRId64 ".%03" PRId64, millis < 0 ? "-" : "",
                  magnitude / 1000, magnitude % 1000);
    return text;
}

}  // namespace jorvsim
