#include "StringUtils.h"

#include <cerrno>
#include <climits>
#include <cstdlib>

namespace stringUtils {

const char* WHITESPACE = " \n\r\t";

namespace {

// Callers may hand in a null set; treat it as "no characters" rather than crash.
const char* orEmpty(const char* chars) {
    return chars != nullptr ? chars : "";
}

}  // namespace

bool contains(std::string s, std::string sub) {
    return s.find(sub) != std::string::npos;
}

bool equals(std::string a, std::string b) {
    return a == b;
}

int parseInt(std::string s) {
    // strtol is what the standard string-to-int conversion is defined by; using it directly gives
    // the same result without throwing for the two failures that are mapped to 0.
    // errno is restored: a number that does not convert is not an error for the caller.
    const int savedErrno = errno;
    const char* begin = s.c_str();
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(begin, &end, 10);
    const bool outOfRange = errno == ERANGE || value < INT_MIN || value > INT_MAX;
    errno = savedErrno;
    if (end == begin || outOfRange) return 0;
    return static_cast<int>(value);
}

std::string valueOf(int n) {
    return std::to_string(n);
}

std::string trimLeft(const std::string& s, const char* chars) {
    const size_t first = s.find_first_not_of(orEmpty(chars));
    return first == std::string::npos ? std::string() : s.substr(first);
}

std::string trimRight(const std::string& s, const char* chars) {
    const size_t last = s.find_last_not_of(orEmpty(chars));
    return last == std::string::npos ? std::string() : s.substr(0, last + 1);
}

std::string trim(const std::string& s, const char* chars) {
    return trimRight(trimLeft(s, chars), chars);
}

std::vector<std::string> split(const std::string& s, std::string delims) {
    std::vector<std::string> pieces;
    size_t start = s.find_first_not_of(delims);
    while (start != std::string::npos) {
        const size_t end = s.find_first_of(delims, start);
        pieces.push_back(
                s.substr(start, end == std::string::npos ? std::string::npos : end - start));
        start = s.find_first_not_of(delims, end);
    }
    return pieces;
}

}  // namespace stringUtils
