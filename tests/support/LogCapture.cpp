#include "support/LogCapture.h"

#include <mutex>

namespace qartest {
namespace {

std::mutex gMutex;
std::vector<LogLine> gLines;

void captureLine(const __android_logger_data* data, const char* message) {
    std::lock_guard<std::mutex> lock(gMutex);
    gLines.push_back(LogLine{data->priority, data->tag ? data->tag : "", message ? message : ""});
}

}  // namespace

LogCapture::LogCapture() {
    clear();
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(captureLine);
}

LogCapture::~LogCapture() {
    __android_log_set_logger(__android_log_stderr_logger);
    __android_log_set_minimum_priority(ANDROID_LOG_DEFAULT);
}

std::vector<LogLine> LogCapture::lines() const {
    std::lock_guard<std::mutex> lock(gMutex);
    return gLines;
}

std::vector<LogLine> LogCapture::linesWithTag(const std::string& tag) const {
    std::vector<LogLine> result;
    for (const LogLine& line : lines()) {
        if (line.tag == tag) result.push_back(line);
    }
    return result;
}

size_t LogCapture::count(int priority, const std::string& tag, const std::string& text) const {
    size_t n = 0;
    for (const LogLine& line : lines()) {
        if (line == LogLine{priority, tag, text}) ++n;
    }
    return n;
}

void LogCapture::clear() {
    std::lock_guard<std::mutex> lock(gMutex);
    gLines.clear();
}

}  // namespace qartest
