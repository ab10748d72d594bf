#include "TraceCapture.h"

#include <atomic>
#include <mutex>

namespace qartest {
namespace {

std::atomic<uint64_t> gEnabledTags{0};
std::mutex gMutex;
std::vector<std::string> gEvents;

void record(std::string event) {
    std::lock_guard<std::mutex> lock(gMutex);
    gEvents.push_back(std::move(event));
}

}  // namespace

TraceCapture::TraceCapture(uint64_t enabledTags) {
    clear();
    gEnabledTags = enabledTags;
}

TraceCapture::~TraceCapture() {
    gEnabledTags = 0;
}

std::vector<std::string> TraceCapture::events() const {
    std::lock_guard<std::mutex> lock(gMutex);
    return gEvents;
}

void TraceCapture::clear() {
    std::lock_guard<std::mutex> lock(gMutex);
    gEvents.clear();
}

}  // namespace qartest

// Preferred by the dynamic linker over libcutils' own definitions.
extern "C" uint64_t atrace_get_enabled_tags() {
    return qartest::gEnabledTags;
}

extern "C" void atrace_begin_body(const char* name) {
    qartest::record(std::string("B|") + name);
}

extern "C" void atrace_end_body() {
    qartest::record("E");
}
