// JSON read back by a strict reader (python3's): valid UTF-8, no NaN or Infinity, no duplicate
// keys. Header-only, for the qarctl tests too.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "support/SimProcess.h"

namespace jorvsimtest {

// An object's members: strings as the bytes they stand for (an escaped invalid byte, \udcXX,
// turned back into that byte), other values as JSON text.
using JsonMembers = std::map<std::string, std::string>;

// Prints each object's members as hex pairs. In "lines" mode the input is one object per line; in
// "trace" mode it is a timeline whose events must have the shape every viewer needs, printed flat
// (args as "args.NAME"), with its otherData last.
inline constexpr const char kStrictJsonReader[] = R"(
import json, sys
sys.excepthook = lambda kind, value, trace: print(kind.__name__ + ":", value)
def no_constant(name): raise ValueError("not JSON: " + name)
def no_duplicates(pairs):
    keys = [k for k, _ in pairs]
    if len(keys) != len(set(keys)): raise ValueError("duplicate key in " + repr(keys))
    return dict(pairs)
def load(b): return json.loads(b.decode("utf-8", "strict"), parse_constant=no_constant,
                               object_pairs_hook=no_duplicates)
def raw(v): return v.encode("utf-8", "surrogateescape") if isinstance(v, str) else json.dumps(v).encode()
def show(doc): print(" ".join(raw(k).hex() + ":" + raw(v).hex() for k, v in doc.items()))
text = open(sys.argv[2], "rb").read()
if sys.argv[1] == "lines":
    for line in text.split(b"\n")[:-1]: show(load(line))
    sys.exit(0)
doc = load(text)
assert isinstance(doc["traceEvents"], list), "traceEvents is not an array"
for e in doc["traceEvents"]:
    ph = e["ph"]
    assert ph in ("X", "C", "i", "M"), "unexpected phase " + ph
    assert isinstance(e["pid"], int) and isinstance(e["tid"], int), "pid/tid not integers"
    if ph != "M": assert isinstance(e["ts"], int) and e["ts"] >= 0, "bad ts in " + repr(e)
    if ph == "X": assert isinstance(e["dur"], int) and e["dur"] >= 0, "bad dur in " + repr(e)
    if ph == "C": assert all(isinstance(v, (int, float)) for v in e["args"].values()), "text"
    if ph == "i": assert e["s"] in ("g", "p", "t"), "bad instant scope"
    flat = {k: e[k] for k in ("ph", "pid", "tid", "ts", "dur", "name", "s") if k in e}
    flat.update({"args." + k: v for k, v in e.get("args", {}).items()})
    show(flat)
show(doc.get("otherData", {}))
)";

// The objects of `text` as the reader in `mode` finds them; none, with its complaint in `error`,
// when the text is not strict JSON of that shape.
inline std::optional<std::vector<JsonMembers>> readStrictJson(const std::string& text,
                                                              std::string* error,
                                                              const char* mode = "lines") {
    char path[] = "/tmp/jorvsim-test-XXXXXX";
    const int fd = mkstemp(path);
    if (fd < 0 || write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        *error = "cannot write a temporary file";
        return std::nullopt;
    }
    close(fd);
    SimProcess python("/usr/bin/python3", {"-c", kStrictJsonReader, mode, path}, "/tmp");
    const std::optional<int> status = python.spawn() ? python.waitExit() : std::nullopt;
    unlink(path);
    if (status != 0) {
        *error = "the reader failed:";
        for (const std::string& line : python.lines()) *error += "\n" + line;
        return std::nullopt;
    }
    const auto fromHex = [](const std::string& hex) {
        std::string bytes;
        for (size_t i = 0; i + 1 < hex.size(); i += 2) {
            bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
        }
        return bytes;
    };
    std::vector<JsonMembers> objects;
    for (const std::string& line : python.lines()) {
        JsonMembers members;
        std::istringstream pairs(line);
        for (std::string pair; pairs >> pair;) {
            const size_t colon = pair.find(':');
            members[fromHex(pair.substr(0, colon))] = fromHex(pair.substr(colon + 1));
        }
        objects.push_back(std::move(members));
    }
    return objects;
}

// A timeline (--trace file) read back: its events flat, and its otherData.
struct Timeline {
    std::vector<JsonMembers> events;
    JsonMembers other;

    // The events of phase `ph` named `name`, or whose name starts with it.
    std::vector<JsonMembers> named(const std::string& ph, const std::string& name,
                                   bool prefix = false) const {
        std::vector<JsonMembers> found;
        for (const JsonMembers& e : events) {
            const std::string& n = e.at("name");
            if (e.at("ph") == ph && (prefix ? lineWith(name)(n) : n == name)) found.push_back(e);
        }
        return found;
    }
    std::optional<std::string> processName(int64_t pid) const {
        for (const JsonMembers& e : named("M", "process_name")) {
            if (e.at("pid") == std::to_string(pid)) return e.at("args.name");
        }
        return std::nullopt;
    }
};

// The timeline in `text`; the test fails when it is not a valid one.
inline Timeline expectTimeline(const std::string& text) {
    std::string error;
    std::optional<std::vector<JsonMembers>> objects = readStrictJson(text, &error, "trace");
    EXPECT_TRUE(objects.has_value() && !objects->empty()) << error;
    Timeline timeline;
    if (!objects.has_value() || objects->empty()) return timeline;
    timeline.other = objects->back();
    objects->pop_back();
    timeline.events = std::move(*objects);
    return timeline;
}

}  // namespace jorvsimtest
