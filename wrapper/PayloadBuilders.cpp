#include <algorithm>
#include <string_view>

#include "QarEventApi.h"
#include "QarPayloadBuilders.h"
#include "StringUtils.h"
#include "wrapper/OpCodeSets.h"

using qar::wrapper::opCodeAt;
using qar::wrapper::OpCodeSet;
using QarClient::Resource;

namespace {

// Resource ids that are not taken from an opcode set. The game upgrade level is sent on the
// colocation resource.
constexpr int32_t kColocationId = 0x01011040;
constexpr int32_t kGroupMigrateUpId = 0x01010FB0;
constexpr int32_t kGroupMigrateDownId = 0x01010FC0;
constexpr int32_t kGameUpgradePackageId = 0x010115B0;

constexpr size_t kGameAdpGroupCount = 4;
constexpr OpCodeSet kGameAdpSets[kGameAdpGroupCount] = {
        OpCodeSet::kAdpXpuCoreBoost,
        OpCodeSet::kAdpXpuCoreLimit,
        OpCodeSet::kAdpXpuFreqBoost,
        OpCodeSet::kAdpXpuFreqLimit,
};

// Walks the pieces stringUtils::split would return (the non-empty runs between separator
// characters) as views into the text. getGameAdpList runs on every game-adaptation notification,
// where copying each group and value through split and trim cost more than the rest of the call.
class Pieces {
public:
    Pieces(std::string_view text, std::string_view separators)
        : mText(text), mSeparators(separators), mNext(text.find_first_not_of(separators)) {}

    bool next(std::string_view* piece) {
        if (mNext == std::string_view::npos) return false;
        const size_t end = mText.find_first_of(mSeparators, mNext);
        *piece = mText.substr(mNext, end == std::string_view::npos ? end : end - mNext);
        mNext = mText.find_first_not_of(mSeparators, end);
        return true;
    }

private:
    const std::string_view mText;
    const std::string_view mSeparators;
    size_t mNext;
};

// `text` without the characters of `chars` at either end, as stringUtils::trim gives it.
std::string_view trimmed(std::string_view text, std::string_view chars) {
    const size_t first = text.find_first_not_of(chars);
    if (first == std::string_view::npos) return std::string_view();
    return text.substr(first, text.find_last_not_of(chars) - first + 1);
}

}  // namespace

Resource QarResourceInfo(int32_t id, std::string value) {
    return Resource{id, std::move(value)};
}

std::vector<Resource> getTargetLoadList(const std::string& payload) {
    std::vector<Resource> resources;
    if (payload.empty()) return resources;
    const std::vector<std::string> items = stringUtils::split(payload, ",");
    const bool labelled = stringUtils::contains(payload, "-");
    for (size_t i = 0; i < items.size(); ++i) {
        const std::optional<int32_t> id = opCodeAt(OpCodeSet::kTargetLoad, i);
        if (!id) break;
        if (labelled) {
            // "label-value": the label and anything after a second dash are not used.
            const std::vector<std::string> pieces = stringUtils::split(items[i], "-");
            if (pieces.size() >= 2) resources.push_back(QarResourceInfo(*id, pieces[1]));
        } else if (items[i] != "-1") {
            // Cannot fire (a "-1" item puts the payload in the labelled form); kept so that the
            // rule for unlabelled values stays written down should the two forms ever be told
            // apart differently.
            resources.push_back(QarResourceInfo(*id, items[i]));
        }
    }
    return resources;
}

std::vector<Resource> getColocationList(const std::string& payload) {
    std::vector<Resource> resources;
    if (!stringUtils::contains(payload, ":")) return resources;
    for (const std::string& item : stringUtils::split(payload, ",")) {
        const std::vector<std::string> pieces = stringUtils::split(item, ":");
        if (pieces.size() < 2) continue;
        const std::string& key = pieces[0];
        const std::string& value = pieces[1];
        if (key == "colocation") {
            resources.push_back(QarResourceInfo(kColocationId, value));
        } else if (key == "groupmigrate" && stringUtils::contains(value, "-")) {
            const std::vector<std::string> bounds = stringUtils::split(value, "-");
            if (bounds.size() < 2) continue;
            const int up = stringUtils::parseInt(bounds[0]);
            const int down = stringUtils::parseInt(bounds[1]);
            // The -1 tests cannot fire (a piece holds no dash); they are kept with the a > b rule.
            if (up > down && up != -1 && down != -1) {
                resources.push_back(QarResourceInfo(kGroupMigrateUpId, stringUtils::valueOf(up)));
                resources.push_back(
                        QarResourceInfo(kGroupMigrateDownId, stringUtils::valueOf(down)));
            }
        }
    }
    return resources;
}

std::vector<Resource> getGameAdpList(const std::string& payload) {
    std::vector<Resource> resources;
    if (payload.empty()) return resources;
    // At most one value more than there are commas in each of the four groups used.
    resources.reserve(static_cast<size_t>(std::count(payload.begin(), payload.end(), ',')) +
                      kGameAdpGroupCount);
    const std::string_view blanks =
            stringUtils::WHITESPACE != nullptr ? stringUtils::WHITESPACE : "";
    Pieces groups(payload, ";");
    std::string_view group;
    for (size_t g = 0; g < kGameAdpGroupCount && groups.next(&group); ++g) {
        // A single value must carry a comma; a comma-less group is a placeholder for its position.
        if (group.find(',') == std::string_view::npos) continue;
        Pieces values(group, ",");
        std::string_view value;
        for (size_t j = 0; values.next(&value); ++j) {
            const std::optional<int32_t> id = opCodeAt(kGameAdpSets[g], j);
            if (!id) break;
            resources.push_back(QarResourceInfo(*id, std::string(trimmed(value, blanks))));
        }
    }
    return resources;
}

std::vector<Resource> getGameUpgradeList(int32_t /*unused0*/, int32_t /*unused1*/, int32_t level,
                                         int32_t /*unused3*/, int32_t /*unused4*/,
                                         const std::string& pkg) {
    std::vector<Resource> resources;
    if (level >= 1)
        resources.push_back(QarResourceInfo(kColocationId, stringUtils::valueOf(level)));
    if (!pkg.empty()) resources.push_back(QarResourceInfo(kGameUpgradePackageId, pkg));
    return resources;
}

void clrGameUpgradeMode(int32_t ruleId, int32_t status) {
    // The service expects the reset as this exact pair, the second record with an engaged empty
    // value. A failed switch is already logged by the event API; callers have nothing to do about
    // it.
    const std::vector<Resource> reset = {QarResourceInfo(kColocationId, "-1"),
                                         QarResourceInfo(kColocationId, "")};
    qarRuleCtl(ruleId, status, reset);
}
