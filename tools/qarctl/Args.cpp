#include "Args.h"

#include <cctype>
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

int64_t Args::intOption(const std::string& name, int64_t fallback, int64_t min, int64_t max) const {
    std::optional<std::string> text = option(name);
    return text ? parseNumber(*text, ("--" + name).c_str(), min, max) : fallback;
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

namespace {

// Digits of `text` from `pos` in `base`, into a magnitude; false on a non-digit, no digit at all,
// or a magnitude beyond uint64_t.
bool parseMagnitude(const std::string& text, size_t pos, int base, uint64_t* out) {
    if (pos >= text.size()) return false;
    uint64_t value = 0;
    for (; pos < text.size(); ++pos) {
        const char c = static_cast<char>(tolower(static_cast<unsigned char>(text[pos])));
        int digit;
        if (c >= '0' && c <= '9') {
            digit = c - '0';
        } else if (base == 16 && c >= 'a' && c <= 'f') {
            digit = c - 'a' + 10;
        } else {
            return false;
        }
        if (value > (std::numeric_limits<uint64_t>::max() - digit) / base) return false;
        value = value * base + digit;
    }
    *out = value;
    return true;
}

// Decimal or 0x hex with an optional leading '-'. A decimal with a leading zero ("010") is
// refused: other tools read it as octal, and guessing either way would send a surprising value.
bool parseWhole(const std::string& text, int64_t min, int64_t max, int64_t* out) {
    const bool negative = !text.empty() && text[0] == '-';
    size_t pos = negative ? 1 : 0;
    int base = 10;
    if (text.compare(pos, 2, "0x") == 0 || text.compare(pos, 2, "0X") == 0) {
        base = 16;
        pos += 2;
    } else if (text.size() > pos + 1 && text[pos] == '0') {
        return false;
    }
    uint64_t magnitude;
    if (!parseMagnitude(text, pos, base, &magnitude)) return false;
    const uint64_t limit = negative ? 0 - static_cast<uint64_t>(min) : static_cast<uint64_t>(max);
    // A non-negative parameter refuses any sign, "-0" included.
    if ((negative && min >= 0) || magnitude > limit) return false;
    *out = negative ? static_cast<int64_t>(0 - magnitude) : static_cast<int64_t>(magnitude);
    return true;
}

}  // namespace

int64_t parseNumber(const std::string& text, const char* what, int64_t min, int64_t max) {
    int64_t value;
    if (!parseWhole(text, min, max, &value)) {
        throw UsageError(std::string("bad value for ") + what + ": \"" + text +
                         "\" (expected a decimal or 0x number from " + std::to_string(min) +
                         " to " + std::to_string(max) + ")");
    }
    return value;
}

int64_t parseInt(const std::string& text, const char* what) {
    return parseNumber(text, what, std::numeric_limits<int64_t>::min(),
                       std::numeric_limits<int64_t>::max());
}

int32_t parseInt32(const std::string& text, const char* what) {
    // Ids are often written in hex with the top bit set (0x80000000 and up): accept the unsigned
    // 32-bit range too and keep its bit pattern.
    const int64_t value = parseNumber(text, what, std::numeric_limits<int32_t>::min(),
                                      std::numeric_limits<uint32_t>::max());
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
