// Rules switched on and off by rule control.
#pragma once

#include <cstdint>
#include <map>

#include "Clock.h"
#include "ModelTypes.h"

namespace jorvsim {

struct Rule {
    int32_t id = 0;
    int32_t status = 0;  // 0: off; any other value: on (some rules pack arguments into it)
    DataList data;       // the resources sent with the last switch
    TimePoint since;

    bool on() const { return status != 0; }
};

// The last switch of every rule seen, on or off.
class Rules {
public:
    void set(Rule rule) { mRules[rule.id] = std::move(rule); }
    const std::map<int32_t, Rule>& all() const { return mRules; }

private:
    std::map<int32_t, Rule> mRules;
};

}  // namespace jorvsim
