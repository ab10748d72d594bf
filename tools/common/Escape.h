// Quoting of arbitrary byte strings for the tools' one-line outputs, shared by qarctl and
// jorv-sim so that both say the same thing the same way.
#pragma once

#include <string>
#include <string_view>

namespace toolscommon {

// `text` as a JSON string literal, always valid UTF-8 and lossless for any bytes:
//  - '"' and '\\' are escaped, \n \r \t by name, the other control characters as \u00XX;
//  - well-formed UTF-8 sequences (no overlong forms, no surrogates, nothing past U+10FFFF) are
//    copied as they are;
//  - every other byte XX is written as \uDCXX, a lone low surrogate that well-formed text never
//    holds. A reader gets the bytes back by encoding the decoded string with the surrogate
//    escaping rule (in Python: text.encode("utf-8", "surrogateescape")).
std::string jsonString(std::string_view text);

// `text` in double quotes for people: '"' and '\\' escaped, \n \r \t by name, and every byte that
// is not printable ASCII as \xHH, so the result is one line of ASCII whatever the text holds.
std::string quotedText(std::string_view text);

}  // namespace toolscommon
