#include "Properties.h"

namespace jorvsim {

std::string Properties::get(const std::string& name) const {
    auto it = mValues.find(name);
    return it == mValues.end() ? std::string() : it->second;
}

bool Properties::set(const std::string& name, const std::string& value) {
    if (name.empty() || value.size() > kMaxValueLength) return false;
    mValues[name] = value;
    return true;
}

}  // namespace jorvsim
