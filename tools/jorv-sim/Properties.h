// Service properties, kept in memory only.
#pragma once

#include <cstddef>
#include <map>
#include <string>

namespace jorvsim {

class Properties {
public:
    // Clients copy a value with its terminating zero into a 256-byte buffer; anything longer would
    // overrun it, so such values are refused here.
    static constexpr size_t kMaxValueLength = 255;

    explicit Properties(std::map<std::string, std::string> initial = {})
        : mValues(std::move(initial)) {}

    // The value, or an empty text for a property never set.
    std::string get(const std::string& name) const;
    // False (and nothing stored) for an empty name or a value longer than kMaxValueLength.
    bool set(const std::string& name, const std::string& value);

    const std::map<std::string, std::string>& all() const { return mValues; }

private:
    std::map<std::string, std::string> mValues;
};

}  // namespace jorvsim
