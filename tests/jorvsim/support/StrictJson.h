// Lines of JSON read back by a strict reader (python3's): each line must be valid UTF-8 and one
// JSON object without NaN or Infinity. Header-only, for the qarctl tests too.
#pragma once

#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace jorvsimtest {

// An object's top-level members: strings as the bytes they stand for (an escaped invalid byte,
// \udcXX, turned back into that byte), other values as JSON text.
using JsonMembers = std::map<std::string, std::string>;

inline constexpr const char kStrictJsonReader[] = R"(
import json, sys
def no_constant(name): raise ValueError("not JSON: " + name)
def raw(v): return v.encode("utf-8", "surrogateescape") if isinstance(v, str) else json.dumps(v).encode()
for line in open(sys.argv[1], "rb").read().split(b"\n")[:-1]:
    doc = json.loads(line.decode("utf-8", "strict"), parse_constant=no_constant)
    print(" ".join(raw(k).hex() + ":" + raw(v).hex() for k, v in doc.items()))
)";

inline std::string fromHex(const std::string& hex) {
    std::string bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

// Runs python3 `script` with a file holding `text` as its argument; its output, or none with the
// output as `error` when it failed.
inline std::optional<std::string> runPythonOn(const char* script, const std::string& text,
                                              std::string* error) {
    char path[] = "/tmp/jorvsim-test-XXXXXX";
    const int fd = mkstemp(path);
    if (fd < 0 || write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        *error = "cannot write a temporary file";
        return std::nullopt;
    }
    close(fd);
    const std::string command =
            "timeout 60 python3 -c '" + std::string(script) + "' " + path + " 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    std::string out;
    char buffer[4096];
    for (size_t n; pipe != nullptr && (n = fread(buffer, 1, sizeof(buffer), pipe)) > 0;) {
        out.append(buffer, n);
    }
    const int status = pipe != nullptr ? pclose(pipe) : -1;
    unlink(path);
    if (status == 0) return out;
    *error = out;
    return std::nullopt;
}

// The objects of `text`, one per line; none, with the reader's complaint in `error`, when a line
// is not strict JSON.
inline std::optional<std::vector<JsonMembers>> readStrictJsonLines(const std::string& text,
                                                                   std::string* error) {
    const std::optional<std::string> out = runPythonOn(kStrictJsonReader, text, error);
    if (!out.has_value()) return std::nullopt;
    std::vector<JsonMembers> objects;
    std::istringstream lines(*out);
    for (std::string line; std::getline(lines, line);) {
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

}  // namespace jorvsimtest
