#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "QarResource.h"

namespace qarctl {

// A usage error: the command line cannot be understood. Exit status 2.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The arguments of one subcommand: positional words and --options. Options are declared by the
// subcommand (flags take no value, the others take exactly one: "--name value" or
// "--name=value"); anything else is a usage error.
class Args {
public:
    Args(const std::vector<std::string>& words, const std::set<std::string>& flags,
         const std::set<std::string>& valued);

    bool flag(const std::string& name) const { return mFlags.count(name) != 0; }
    std::optional<std::string> option(const std::string& name) const;
    // The option as an integer in [min, max] (see parseNumber), or `fallback` when absent.
    int64_t intOption(const std::string& name, int64_t fallback, int64_t min, int64_t max) const;

    const std::vector<std::string>& positional() const { return mPositional; }
    // Positional word `i`, required; `what` names it in the error.
    const std::string& at(size_t i, const char* what) const;
    // Fails unless there are between `min` and `max` positional words.
    void expectCount(size_t min, size_t max) const;

private:
    std::vector<std::string> mPositional;
    std::set<std::string> mFlags;
    std::map<std::string, std::string> mValues;
};

// Splits a command line into words at blanks; double quotes group blanks into a word and a
// backslash escapes the next character. An unclosed quote is a usage error.
std::vector<std::string> splitWords(const std::string& line);

// Ranges of the option types.
constexpr int64_t kInt32Min = INT32_MIN;
constexpr int64_t kInt32Max = INT32_MAX;
// Durations in milliseconds: a day at most, so that adding one to a clock cannot overflow.
constexpr int64_t kMaxMs = 24 * 3600 * 1000;

// Whole-string integer parsing: decimal, or hex with a 0x prefix, each with an optional leading
// '-' ("-0x10" is -16). A decimal with a leading zero ("010") is refused, never read as octal.
// Anything else, or a value outside [min, max], is a usage error naming `what`, the text and the
// range.
int64_t parseNumber(const std::string& text, const char* what, int64_t min, int64_t max);
int64_t parseInt(const std::string& text, const char* what);
int32_t parseInt32(const std::string& text, const char* what);

// "ID=VALUE" (the id decimal or 0x-hex) or "ID" for a resource without value.
QarClient::Resource parseResource(const std::string& word);
// The positional words from `first` on, as resources.
std::vector<QarClient::Resource> parseResources(const Args& args, size_t first);

}  // namespace qarctl
