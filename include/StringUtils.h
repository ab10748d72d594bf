#pragma once

#include <string>
#include <vector>

#include "QarExport.h"

// Byte-string helpers of the wrapper API. Every comparison is byte-exact and case-sensitive;
// nothing depends on the locale. All functions are pure and callable from any thread.
namespace stringUtils {

// " \n\r\t": the blanks that textual payloads may carry around their values. Set at load time and
// never changed by the library.
QAR_EXPORT extern const char* WHITESPACE;

// True when sub occurs anywhere in s; an empty sub is contained in every string.
QAR_EXPORT bool contains(std::string s, std::string sub);

// True when a and b have the same length and the same bytes.
QAR_EXPORT bool equals(std::string a, std::string b);

// Decimal conversion as the standard library's string-to-int does it: leading white space
// skipped, optional sign, digits up to the first non-digit. Returns 0 when there is no digit or
// the value does not fit in 32 bits.
QAR_EXPORT int parseInt(std::string s);

// Decimal text of n.
QAR_EXPORT std::string valueOf(int n);

// s without its leading (trimLeft), trailing (trimRight) or both (trim) runs of characters from
// the set chars. A null chars counts as the empty set.
QAR_EXPORT std::string trimLeft(const std::string& s, const char* chars);
QAR_EXPORT std::string trimRight(const std::string& s, const char* chars);
QAR_EXPORT std::string trim(const std::string& s, const char* chars);

// The non-empty pieces of s between characters of the set delims: runs of delimiters collapse and
// leading or trailing ones produce nothing. An empty delims gives s itself (if not empty).
QAR_EXPORT std::vector<std::string> split(const std::string& s, std::string delims);

}  // namespace stringUtils
