#include "support/TraceFile.h"

#include <fstream>
#include <sstream>

#include "support/StrictJson.h"

namespace jorvsimtest {
namespace {

// Checks the event shape every viewer needs, then prints each event as one flat JSON object
// (args as "args.NAME") and the otherData last ("other.NAME"), for the strict line reader.
constexpr const char kChecker[] = R"(
import json, sys
def no_constant(name): raise ValueError("not JSON: " + name)
def no_duplicates(pairs):
    keys = [k for k, _ in pairs]
    if len(keys) != len(set(keys)): raise ValueError("duplicate key in " + repr(keys))
    return dict(pairs)
text = open(sys.argv[1], "rb").read().decode("utf-8", "strict")
doc = json.loads(text, parse_constant=no_constant, object_pairs_hook=no_duplicates)
events = doc["traceEvents"]
assert isinstance(events, list), "traceEvents is not an array"
for e in events:
    ph = e["ph"]
    assert ph in ("X", "C", "i", "M"), "unexpected phase " + ph
    assert isinstance(e["pid"], int) and isinstance(e["tid"], int), "pid/tid not integers"
    if ph != "M": assert isinstance(e["ts"], int) and e["ts"] >= 0, "bad ts in " + repr(e)
    if ph == "X": assert isinstance(e["dur"], int) and e["dur"] >= 0, "bad dur in " + repr(e)
    if ph == "C":
        assert all(isinstance(v, (int, float)) for v in e["args"].values()), "counter text"
    if ph == "i": assert e["s"] in ("g", "p", "t"), "bad instant scope"
    flat = {k: e[k] for k in ("ph", "pid", "tid", "ts", "dur", "name", "s") if k in e}
    flat.update({"args." + k: v for k, v in e.get("args", {}).items()})
    print(json.dumps(flat))
print(json.dumps({"other." + k: v for k, v in doc.get("otherData", {}).items()}))
)";

int64_t numberOr(const JsonMembers& members, const char* name, int64_t fallback) {
    const auto it = members.find(name);
    return it == members.end() ? fallback : std::stoll(it->second);
}

}  // namespace

std::vector<TraceEvent> TraceFile::named(const std::string& ph, const std::string& name) const {
    std::vector<TraceEvent> found;
    for (const TraceEvent& e : events) {
        if (e.ph == ph && e.name == name) found.push_back(e);
    }
    return found;
}

std::vector<TraceEvent> TraceFile::prefixed(const std::string& ph,
                                            const std::string& prefix) const {
    std::vector<TraceEvent> found;
    for (const TraceEvent& e : events) {
        if (e.ph == ph && e.name.rfind(prefix, 0) == 0) found.push_back(e);
    }
    return found;
}

std::optional<std::string> TraceFile::processName(int64_t pid) const {
    for (const TraceEvent& e : events) {
        if (e.ph == "M" && e.name == "process_name" && e.pid == pid) return e.args.at("name");
    }
    return std::nullopt;
}

std::optional<TraceFile> readTraceFile(const std::string& path, std::string* error) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return readTraceText(text.str(), error);
}

std::optional<TraceFile> readTraceText(const std::string& text, std::string* error) {
    const std::optional<std::string> flat = runPythonOn(kChecker, text, error);
    const auto objects = flat ? readStrictJsonLines(*flat, error) : std::nullopt;
    if (!objects.has_value()) {
        *error = "not a valid trace: " + *error;
        return std::nullopt;
    }
    TraceFile file;
    for (const JsonMembers& members : *objects) {
        TraceEvent event;
        for (const auto& [key, value] : members) {
            if (key.rfind("other.", 0) == 0) file.otherData[key.substr(6)] = value;
            if (key.rfind("args.", 0) == 0) event.args[key.substr(5)] = value;
        }
        if (members.count("ph") == 0) continue;
        event.ph = members.at("ph");
        event.pid = numberOr(members, "pid", 0);
        event.tid = numberOr(members, "tid", 0);
        event.ts = numberOr(members, "ts", -1);
        event.dur = numberOr(members, "dur", -1);
        event.name = members.at("name");
        event.scope = members.count("s") != 0 ? members.at("s") : "";
        file.events.push_back(std::move(event));
    }
    return file;
}

}  // namespace jorvsimtest
