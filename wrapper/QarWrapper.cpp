#define LOG_TAG "[QAR_CLIENT_WRAPPER]"

#include "QarWrapper.h"

#include <log/log.h>

#include <algorithm>
#include <iterator>
#include <vector>

#include "QarEventApi.h"
#include "common/LogText.h"
#include "wrapper/ActionLookup.h"

using qar::orNone;
using QarClient::Resource;

namespace {

// The rule sources 2, 3, 5 and 6 share; they tell themselves apart by the status they switch it on
// with.
constexpr int32_t kSharedSourceRule = 200;

// Resource ids the rules carry; what they control is the service's business.
constexpr int32_t kRes010103A0 = 0x010103A0;  // sources 8 and 111
constexpr int32_t kRes010112F0 = 0x010112F0;  // source 9, switched on
constexpr int32_t kRes01011910 = 0x01011910;  // source 9, switched on
constexpr int32_t kRes01011070 = 0x01011070;  // source 102

// Value source 102 sends when switched on without a usable level.
constexpr char kDefaultLevel102[] = "3";

// The wrapper has no way to report a failed switch (its callers get 0 regardless), and the event
// API has logged it already.
void rule(int32_t ruleId, int32_t status, const std::vector<Resource>& resources = {}) {
    qarRuleCtl(ruleId, status, resources);
}

bool isSwitch(int32_t type) {
    return type == -1 || type == 0 || type == 1;
}

// Status of rule 15: the type in the low byte (so -1 becomes 0xFF), param in the 24 bits above.
// Computed unsigned: shifting a negative param is undefined for int32_t.
int32_t packStatus15(int32_t type, int32_t param) {
    const uint32_t packed =
            (static_cast<uint32_t>(param) << 8) | (static_cast<uint32_t>(type) & 0xFFu);
    return static_cast<int32_t>(packed);
}

// What a notification from one source switches. `src`, `type` and `param` are the notification's
// numbers; `payload` its text.
using SourceRule = void (*)(int32_t src, int32_t type, int32_t param, const std::string& payload);

// Most sources switch the rule of their own number to the notification's type.
void ownRule(int32_t src, int32_t type, int32_t /*param*/, const std::string& /*payload*/) {
    rule(src, type);
}

// Anything but "on" switches the shared rule off.
void sharedRule(int32_t src, int32_t type, int32_t /*param*/, const std::string& /*payload*/) {
    rule(kSharedSourceRule, type == 1 ? src : 0);
}

void source8(int32_t /*src*/, int32_t type, int32_t param, const std::string& /*payload*/) {
    if (type == 0) {
        rule(8, 0);
    } else if (type == 1 || type == 2) {
        rule(8, type,
             param == 1 ? std::vector<Resource>{QarResourceInfo(kRes010103A0, "0")}
                        : std::vector<Resource>{});
    }
}

// Switching off sends an empty list, with no "enable 1" record to mirror the one sent on: that is
// the shape the service has always received, so it is kept.
void source9(int32_t /*src*/, int32_t type, int32_t /*param*/, const std::string& /*payload*/) {
    if (type == 0) {
        rule(9, 0);
    } else if (type == 1) {
        rule(9, 1, {QarResourceInfo(kRes010112F0, "enable 0"), QarResourceInfo(kRes01011910, "0")});
    }
}

void source14(int32_t /*src*/, int32_t type, int32_t param, const std::string& payload) {
    if (type == 0) {
        clrGameUpgradeMode(14, 0);
    } else if (type == 1) {
        rule(14, 1, getGameUpgradeList(0, 0, param, 0, 0, payload));
    }
}

void source15(int32_t /*src*/, int32_t type, int32_t param, const std::string& /*payload*/) {
    if (isSwitch(type)) rule(15, packStatus15(type, param));
}

void source102(int32_t /*src*/, int32_t type, int32_t param, const std::string& /*payload*/) {
    if (type == 0) {
        rule(102, 0, {QarResourceInfo(kRes01011070, "0")});
    } else if (type == 1) {
        const bool noLevel = param == 0 || param == -1;
        rule(102, 1,
             {QarResourceInfo(kRes01011070,
                              noLevel ? kDefaultLevel102 : stringUtils::valueOf(param))});
    }
}

void source111(int32_t /*src*/, int32_t type, int32_t /*param*/, const std::string& /*payload*/) {
    if (isSwitch(type)) {
        rule(111, type, {QarResourceInfo(kRes010103A0, stringUtils::valueOf(type))});
    }
}

// Sources 130, 131 and 9000: off with an empty list; on only with a payload, whose parsed records
// (possibly none) go with the switch.
template <std::vector<Resource> (*Parse)(const std::string&)>
void payloadRule(int32_t src, int32_t type, int32_t /*param*/, const std::string& payload) {
    if (type == 0) {
        rule(src, 0);
    } else if (type == 1 && !payload.empty()) {
        rule(src, 1, Parse(payload));
    }
}

struct SourceRow {
    int32_t src;
    SourceRule apply;
};

// Every source with a rule; every other source has none.
constexpr SourceRow kSourceRows[] = {
        {1, ownRule},
        {10, ownRule},
        {11, ownRule},
        {12, ownRule},
        {16, ownRule},
        {110, ownRule},
        {129, ownRule},
        {1000, ownRule},
        {2, sharedRule},
        {3, sharedRule},
        {5, sharedRule},
        {6, sharedRule},
        {8, source8},
        {9, source9},
        {14, source14},
        {15, source15},
        {102, source102},
        {111, source111},
        {130, payloadRule<getTargetLoadList>},
        {131, payloadRule<getColocationList>},
        {9000, payloadRule<getGameAdpList>},
};

}  // namespace

int32_t QarEventAcquireWrapper(const std::string& eventId, const std::string& scene,
                               const std::string& identity, int32_t timeout) {
    ALOGI("[%s] eventId:%s, scene:%s, identity:%s, timeout:%d", __func__, orNone(eventId),
          orNone(scene), orNone(identity), timeout);
    const int actionId = qar::wrapper::findActionIdForEvent(eventId);
    if (actionId < 0) return -1;
    return QarEventAcquire(actionId, scene, identity, timeout, {});
}

void QarReleaseWapper(int32_t handle) {
    ALOGI("[%s] %d", __func__, handle);
    QarRelease(handle);
}

int32_t QarNotifyWapper(const std::string& name, int32_t src, int32_t type, int32_t param,
                        int32_t /*unused4*/, int32_t /*unused5*/, const std::string& payload) {
    ALOGI("[%s] %s, src:%d, type:%d", __func__, orNone(name), src, type);
    const auto row = std::find_if(std::begin(kSourceRows), std::end(kSourceRows),
                                  [src](const SourceRow& entry) { return entry.src == src; });
    if (row != std::end(kSourceRows)) row->apply(src, type, param, payload);
    return 0;
}
