#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qartest {

// The test executable defines the system-trace entry points that <cutils/trace.h> calls, so the
// library's markers can be observed: the enabled-tags mask is set here and every begin ("B|name")
// and end ("E") is recorded. The mask starts at 0 (tracing off).
class TraceCapture {
public:
    explicit TraceCapture(uint64_t enabledTags);
    ~TraceCapture();
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    std::vector<std::string> events() const;
    void clear();
};

}  // namespace qartest
