// A timeline file read back for checking: parsed strictly by python3's json module (no NaN, no
// duplicate keys, one value only) and checked for the event shape every viewer needs.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace jorvsimtest {

struct TraceEvent {
    std::string ph;
    int64_t pid = 0;
    int64_t tid = 0;
    int64_t ts = -1;   // -1 for metadata
    int64_t dur = -1;  // complete slices only
    std::string name;
    std::string scope;                        // instants: "s"
    std::map<std::string, std::string> args;  // texts as they are, numbers in decimal
};

struct TraceFile {
    std::vector<TraceEvent> events;
    std::map<std::string, std::string> otherData;

    // The events with this phase and name, or with a name starting with `prefix`.
    std::vector<TraceEvent> named(const std::string& ph, const std::string& name) const;
    std::vector<TraceEvent> prefixed(const std::string& ph, const std::string& prefix) const;
    // The process_name metadata of `pid`, or none.
    std::optional<std::string> processName(int64_t pid) const;
};

// The file at `path` read back; none, with the reason in `error`, when it is not a valid trace.
std::optional<TraceFile> readTraceFile(const std::string& path, std::string* error);
// As readTraceFile() for a trace's text.
std::optional<TraceFile> readTraceText(const std::string& text, std::string* error);

}  // namespace jorvsimtest
