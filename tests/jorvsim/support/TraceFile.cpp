#include "support/TraceFile.h"

#include <fstream>
#include <sstream>

#include "support/StrictJson.h"

namespace jorvsimtest {
namespace {

// Prints one line per event, fields separated by tabs (and args as key=value pairs separated by
// \x1f), then "other" lines and "ok"; exits non-zero with the reason on a bad file.
constexpr const char kChecker[] = R"(
import json, sys
def no_constant(name): raise ValueError("not JSON: " + name)
def no_duplicates(pairs):
    keys = [k for k, _ in pairs]
    if len(keys) != len(set(keys)): raise ValueError("duplicate key in " + repr(keys))
    return dict(pairs)
sys.stdout.reconfigure(errors="surrogateescape")
text = open(sys.argv[1], "rb").read().decode("utf-8", "strict")
doc = json.loads(text, parse_constant=no_constant, object_pairs_hook=no_duplicates)
events = doc["traceEvents"]
assert isinstance(events, list), "traceEvents is not an array"
def text_of(v): return v if isinstance(v, str) else json.dumps(v)
for e in events:
    ph = e["ph"]
    assert ph in ("X", "C", "i", "M"), "unexpected phase " + ph
    assert isinstance(e["pid"], int) and isinstance(e["tid"], int), "pid/tid not integers"
    ts = e.get("ts", -1)
    dur = e.get("dur", -1)
    if ph != "M": assert isinstance(ts, int) and ts >= 0, "bad ts in " + repr(e)
    if ph == "X": assert isinstance(dur, int) and dur >= 0, "bad dur in " + repr(e)
    if ph == "C":
        assert all(isinstance(v, (int, float)) for v in e["args"].values()), "counter text"
    if ph == "i": assert e["s"] in ("g", "p", "t"), "bad instant scope"
    args = "\x1f".join(k + "=" + text_of(v) for k, v in e.get("args", {}).items())
    fields = [ph, str(e["pid"]), str(e["tid"]), str(ts), str(dur), e["name"], e.get("s", ""), args]
    assert not any("\t" in f or "\n" in f for f in fields), "tab or newline in " + repr(e)
    print("\t".join(fields))
for k, v in doc.get("otherData", {}).items(): print("other\t" + k + "\t" + text_of(v))
print("ok")
)";

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::stringstream stream(text);
    std::string part;
    while (std::getline(stream, part, separator)) parts.push_back(part);
    if (!text.empty() && text.back() == separator) parts.emplace_back();
    return parts;
}

bool parseLine(const std::string& line, TraceFile* file) {
    const std::vector<std::string> fields = split(line, '\t');
    if (fields.size() == 3 && fields[0] == "other") {
        file->otherData[fields[1]] = fields[2];
        return true;
    }
    if (fields.size() != 8) return false;
    TraceEvent event{fields[0],
                     std::stoll(fields[1]),
                     std::stoll(fields[2]),
                     std::stoll(fields[3]),
                     std::stoll(fields[4]),
                     fields[5],
                     fields[6],
                     {}};
    for (const std::string& arg : split(fields[7], '\x1f')) {
        const size_t eq = arg.find('=');
        if (eq != std::string::npos) event.args[arg.substr(0, eq)] = arg.substr(eq + 1);
    }
    file->events.push_back(std::move(event));
    return true;
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
    const std::optional<std::string> output = runPythonOn(kChecker, text, error);
    const std::vector<std::string> lines = split(output.value_or(""), '\n');
    TraceFile file;
    bool ok = output.has_value() && lines.size() >= 2 && lines[lines.size() - 2] == "ok";
    for (size_t i = 0; ok && i + 2 < lines.size(); ++i) ok = parseLine(lines[i], &file);
    if (!ok) {
        *error = "not a valid trace: " + output.value_or(*error);
        return std::nullopt;
    }
    return file;
}

}  // namespace jorvsimtest
