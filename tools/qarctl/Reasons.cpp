#include "Reasons.h"

#include <android/log.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <vector>

#include "Waiting.h"

namespace qarctl {

namespace {

struct Cause {
    const char* pattern;           // a part of the library's log line
    const char* reason;            // "%s" takes the text before the pattern (the function's name)
    const char* unless = nullptr;  // a later line with this part means the call went on
};

// In order of precedence: a death explains the failures logged after it.
constexpr Cause kCauses[] = {
        {"Jorv HAL Service died", "service died during the call"},
        {"Jorv is not declared, AServiceManager_isDeclared:0", "instance not declared"},
        {"Jorv HAL Service not found", "service not found"},
        {"Unable to link to", "service died while connecting"},
        {"() failed: jorv HAL service not available", "service failed the call: %s"},
        {"() failed : jorv HAL service not available", "service failed the call: %s"},
        {"size unmatched", "resource list invalid"},
        {"input resource is empty", "resource list invalid"},
        {"The callback was not registered before", "no such listening"},
        {"failed to get", "service answer incomplete"},
        {"jorvResCtlRequest error:", "service refused the request"},
        {"[QarEventAcquireWrapper] eventId:", "unknown action name", "QarEventAcquire, cmdid:"},
};
// Lines kept for one command; a long listening logs a line per callback.
constexpr size_t kKeptLines = 256;
constexpr const char kDeathLine[] = "Jorv HAL Service died";

std::atomic<bool> gQuiet{false};
std::mutex gLinesMutex;
std::vector<std::string> gLines;

void watchLine(const __android_logger_data* data, const char* message) {
    const std::string line = message == nullptr ? "" : message;
    if (line.find(kDeathLine) != std::string::npos) noteServiceDeath();
    {
        std::lock_guard<std::mutex> lock(gLinesMutex);
        if (gLines.size() == kKeptLines) gLines.erase(gLines.begin());
        gLines.push_back(line);
    }
    if (gQuiet) return;
#ifdef __ANDROID__
    __android_log_logd_logger(data, message);
#else
    __android_log_stderr_logger(data, message);
#endif
}

}  // namespace

void installLogWatch(bool quiet) {
    gQuiet = quiet;
    __android_log_set_logger(watchLine);
}

void startCall() {
    forgetServiceDeath();
    std::lock_guard<std::mutex> lock(gLinesMutex);
    gLines.clear();
}

std::string reasonOfLine(const std::string& line) {
    for (const Cause& cause : kCauses) {
        const size_t at = line.find(cause.pattern);
        if (at == std::string::npos) continue;
        std::string reason = cause.reason;
        const size_t slot = reason.find("%s");
        if (slot != std::string::npos) reason.replace(slot, 2, line.substr(0, at) + "()");
        return reason;
    }
    return "";
}

std::string reasonOfLines(const std::vector<std::string>& lines) {
    auto has = [](const std::string& line, const char* part) {
        return line.find(part) != std::string::npos;
    };
    for (const Cause& cause : kCauses) {
        for (size_t i = 0; i < lines.size(); ++i) {
            if (!has(lines[i], cause.pattern)) continue;
            const bool wentOn =
                    cause.unless != nullptr &&
                    std::any_of(lines.begin() + i + 1, lines.end(),
                                [&](const std::string& later) { return has(later, cause.unless); });
            if (!wentOn) return reasonOfLine(lines[i]);
        }
    }
    return "";
}

std::string reason() {
    std::lock_guard<std::mutex> lock(gLinesMutex);
    return reasonOfLines(gLines);
}

}  // namespace qarctl
