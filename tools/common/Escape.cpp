#include "Escape.h"

#include <cstdio>

namespace toolscommon {
namespace {

// The escapes both forms share; false when `c` needs none of them.
bool appendNamedEscape(char c, std::string* out) {
    switch (c) {
        case '"':
            *out += "\\\"";
            return true;
        case '\\':
            *out += "\\\\";
            return true;
        case '\n':
            *out += "\\n";
            return true;
        case '\r':
            *out += "\\r";
            return true;
        case '\t':
            *out += "\\t";
            return true;
        default:
            return false;
    }
}

void appendFormatted(const char* format, unsigned value, std::string* out) {
    char escaped[8];
    std::snprintf(escaped, sizeof(escaped), format, value);
    *out += escaped;
}

bool isContinuation(unsigned char byte) {
    return (byte & 0xc0) == 0x80;
}

// The length of the well-formed UTF-8 sequence at the start of `text`, or 0 when there is none.
size_t utf8SequenceLength(std::string_view text) {
    if (text.empty()) return 0;
    const auto lead = static_cast<unsigned char>(text[0]);
    if (lead < 0x80) return 1;
    size_t length;
    // The range the second byte must fall in: it excludes overlong forms, surrogates and values
    // past U+10FFFF.
    unsigned char low = 0x80;
    unsigned char high = 0xbf;
    if (lead >= 0xc2 && lead <= 0xdf) {
        length = 2;
    } else if (lead >= 0xe0 && lead <= 0xef) {
        length = 3;
        if (lead == 0xe0) low = 0xa0;
        if (lead == 0xed) high = 0x9f;
    } else if (lead >= 0xf0 && lead <= 0xf4) {
        length = 4;
        if (lead == 0xf0) low = 0x90;
        if (lead == 0xf4) high = 0x8f;
    } else {
        return 0;
    }
    if (text.size() < length) return 0;
    const auto second = static_cast<unsigned char>(text[1]);
    if (second < low || second > high) return 0;
    for (size_t i = 2; i < length; ++i) {
        if (!isContinuation(static_cast<unsigned char>(text[i]))) return 0;
    }
    return length;
}

}  // namespace

std::string jsonString(std::string_view text) {
    std::string out = "\"";
    size_t i = 0;
    while (i < text.size()) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (appendNamedEscape(text[i], &out)) {
            ++i;
        } else if (byte < 0x20 || byte == 0x7f) {
            appendFormatted("\\u%04x", byte, &out);
            ++i;
        } else if (const size_t length = utf8SequenceLength(text.substr(i)); length > 0) {
            out.append(text.substr(i, length));
            i += length;
        } else {
            appendFormatted("\\udc%02x", byte, &out);
            ++i;
        }
    }
    return out + "\"";
}

std::string quotedText(std::string_view text) {
    std::string out = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (appendNamedEscape(c, &out)) continue;
        if (byte < 0x20 || byte >= 0x7f) {
            appendFormatted("\\x%02x", byte, &out);
        } else {
            out += c;
        }
    }
    return out + "\"";
}

}  // namespace toolscommon
