#include "Args.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <limits>

namespace qarctl {

Args::Args(const std::vector<std::string>& words, const std::set<std::string>& flags,
           const std::set<std::string>& valued) {
    bool optionsEnded = false;
    for (size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (optionsEnded || word.size() < 3 || word.compare(0, 2, "--") != 0) {
            // "--" alone ends the options, so that values may start with dashes.
            if (!optionsEnded && word == "--") {
                optionsEnded = true;
            } else {
                mPositional.push_back(word);
            }
            continue;
        }
        const size_t equals = word.find('=');
        const std::string name = word.substr(2, equals == std::string::npos ? equals : equals - 2);
        if (flags.count(name) != 0 && equals == std::string::npos) {
            mFlags.insert(name);
        } else if (valued.count(name) != 0) {
            if (equals != std::string::npos) {
                mValues[name] = word.substr(equals + 1);
            } else if (i + 1 < words.size()) {
                mValues[name] = words[++i];
            } else {
                throw UsageError("option --" + name + " needs a value");
            }
        } else {
            throw UsageError("unknown option " + word);
        }
    }
}

std::optional<std::string> Args::option(const std::string& name) const {
    auto it = mValues.find(name);
    if (it == mValues.end()) return std::nullopt;
    return it->second;
}

int64_t Args::intOption(const std::string& name, int64_t fallback) const {
    std::optional<std::string> text = option(name);
    return text ? parseInt(*text, ("--" + name).c_str()) : fallback;
}

const std::string& Args::at(size_t i, const char* what) const {
    if (i >= mPositional.size()) throw UsageError(std::string("missing ") + what);
    return mPositional[i];
}

void Args::expectCount(size_t min, size_t max) const {
    if (mPositional.size() < min) throw UsageError("too few arguments");
    if (mPositional.size() > max) throw UsageError("unexpected argument " + mPositional[max]);
}

std::vector<std::string> splitWords(const std::string& line) {
    std::vector<std::string> words;
    std::string word;
    bool inWord = false;
    bool quoted = false;
    for (size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (c == '\\' && i + 1 < line.size()) {
            word += line[++i];
            inWord = true;
        } else if (c == '"') {
            quoted = !quoted;
            inWord = true;
        } else if (!quoted && isspace(static_cast<unsigned char>(c))) {
            if (inWord) words.push_back(word);
            word.clear();
            inWord = false;
        } else {
            word += c;
            inWord = true;
        }
    }
    if (quoted) throw UsageError("unclosed quote");
    if (inWord) words.push_back(word);
    return words;
}

int64_t parseInt(const std::string& text, const char* what) {
    errno = 0;
    char* end = nullptr;
    const long long value = std::strtoll(text.c_str(), &end, 0);
    if (text.empty() || *end != '\0' || errno == ERANGE) {
        throw UsageError(std::string("not a number for ") + what + ": \"" + text + "\"");
    }
    return value;
}

int32_t parseInt32(const std::string& text, const char* what) {
    const int64_t value = parseInt(text, what);
    // Ids are often written in hex with the top bit set (0x80000000 and up): accept the unsigned
    // 32-bit range too and keep its bit pattern.
    if (value < std::numeric_limits<int32_t>::min() ||
        value > std::numeric_limits<uint32_t>::max()) {
        throw UsageError(std::string("out of range for ") + what + ": \"" + text + "\"");
    }
    return static_cast<int32_t>(static_cast<uint32_t>(value));
}

QarClient::Resource parseResource(const std::string& word) {
    const size_t equals = word.find('=');
    QarClient::Resource resource;
    resource.id = parseInt32(word.substr(0, equals), "resource id");
    if (equals != std::string::npos) resource.value = word.substr(equals + 1);
    return resource;
}

std::vector<QarClient::Resource> parseResources(const Args& args, size_t first) {
    std::vector<QarClient::Resource> resources;
    for (size_t i = first; i < args.positional().size(); ++i) {
        resources.push_back(parseResource(args.positional()[i]));
    }
    return resources;
}

}  // namespace qarctl
