#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "QarExport.h"
#include "QarResource.h"

// Builders of the resource lists that go with notification rule switches, one per payload kind.
// They never fail on bad input: malformed items are skipped, unreadable numbers count as 0, and
// nothing is logged. Values past the last opcode set are dropped. Every record has its value
// engaged. Pure (except clrGameUpgradeMode, which sends); callable from any thread.

// One record {id, value}; an empty value stays an engaged empty value.
QAR_EXPORT QarClient::Resource QarResourceInfo(int32_t id, std::string value);

// Target-load payload, "label-value,label-value,..." or "value,value,...": one record per item,
// the item's position selecting the id in opCodeTargetLoad (and on). In the labelled form an item
// without a dash adds nothing but keeps its position.
QAR_EXPORT std::vector<QarClient::Resource> getTargetLoadList(const std::string& payload);

// Colocation payload, "key:value,..." with the keys "colocation" (value passed on) and
// "groupmigrate" ("a-b", sent as two records only when a > b); other keys are ignored.
QAR_EXPORT std::vector<QarClient::Resource> getColocationList(const std::string& payload);

// Game adaptation payload: up to four ';'-separated groups (core boost, core limit, frequency
// boost, frequency limit) of ','-separated values, each trimmed of blanks. A group without a comma
// is skipped but keeps its position.
QAR_EXPORT std::vector<QarClient::Resource> getGameAdpList(const std::string& payload);

// Game upgrade records: the level when it is 1 or more, then the package when it is not empty.
// Only the third integer is read; the others keep the signature's shape.
QAR_EXPORT std::vector<QarClient::Resource> getGameUpgradeList(int32_t unused0, int32_t unused1,
                                                               int32_t level, int32_t unused3,
                                                               int32_t unused4,
                                                               const std::string& pkg);

// Switches rule `ruleId` to `status` (the wrapper switches game upgrade off with (14, 0)) with the
// records that reset the upgrade level: the level resource with "-1", then the same resource again
// with an empty value. Sends through qarRuleCtl; its result is not reported.
QAR_EXPORT void clrGameUpgradeMode(int32_t ruleId, int32_t status);
