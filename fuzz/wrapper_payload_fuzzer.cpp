// Fuzzes the wrapper API's text handling: the string utilities, the action lookup and the
// notification payload builders. An input is a level (its last four bytes), a first text ended by
// a backslash and another character ("\\" stands for one backslash) and a second text, the rest.
// Every function runs on them and its result is checked against what it promises, so that a wrong
// answer is reported as well as a crash or a sanitizer finding.
//
// Running out of memory is the one failure these functions pass on to their callers; a
// std::bad_alloc is therefore an accepted outcome, not a finding.

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "QarActionTable.h"
#include "QarPayloadBuilders.h"
#include "StringUtils.h"
#include "wrapper/ActionLookup.h"
#include "wrapper/OpCodeSets.h"

namespace {

void check(bool ok) {
    if (!ok) std::abort();
}

bool inSet(char c, const std::string& set) {
    return set.find(c) != std::string::npos;
}

// The standard conversion that parseInt promises to follow, with its two failures mapped to 0.
int referenceParseInt(const std::string& s) {
    try {
        return std::stoi(s);
    } catch (const std::invalid_argument&) {
        return 0;
    } catch (const std::out_of_range&) {
        return 0;
    }
}

void checkStringUtils(const std::string& s, const std::string& set) {
    const std::vector<std::string> pieces = stringUtils::split(s, set);
    std::string kept;
    for (char c : s) {
        if (!inSet(c, set)) kept += c;
    }
    std::string joined;
    for (const std::string& piece : pieces) {
        check(!piece.empty());
        for (char c : piece) check(!inSet(c, set));
        joined += piece;
    }
    check(joined == kept);

    // trim takes a NUL-terminated set: only the part before a NUL counts.
    const std::string cset = set.c_str();
    const std::string trimmed = stringUtils::trim(s, cset.c_str());
    check(stringUtils::contains(s, trimmed));
    if (!trimmed.empty()) check(!inSet(trimmed.front(), cset) && !inSet(trimmed.back(), cset));
    check(stringUtils::trimLeft(stringUtils::trimRight(s, cset.c_str()), cset.c_str()) == trimmed);

    check(stringUtils::parseInt(s) == referenceParseInt(s));
    check(stringUtils::equals(s, set) == (s == set));
}

void checkLookup(const std::string& eventId) {
    int expected = -1;
    if (eventId.find("TRIVEX_") != std::string::npos) {
        const std::string name = eventId.substr(7);
        for (size_t i = 0; i < gActionList.size(); ++i) {
            if (gActionList[i] == name) {
                expected = static_cast<int>(i);
                break;
            }
        }
    }
    check(qar::wrapper::findActionIdForEvent(eventId) == expected);
}

// Every record the builders make carries a value, even an empty one.
void checkRecords(const std::vector<QarClient::Resource>& records) {
    for (const QarClient::Resource& r : records) check(r.value.has_value());
}

// Position of a resource id in the opcode block (its values are distinct), or -1.
int blockPosition(int32_t id) {
    using qar::wrapper::OpCodeSet;
    for (size_t i = 0; i < qar::wrapper::kOpCodeBlockSize; ++i) {
        if (qar::wrapper::opCodeAt(OpCodeSet::kTargetLoad, i) == id) return static_cast<int>(i);
    }
    return -1;
}

void checkBuilders(const std::string& payload, int32_t level) {
    // Target-load ids come from the block in position order, never past its end.
    const auto targetLoad = getTargetLoadList(payload);
    checkRecords(targetLoad);
    int last = -1;
    for (const auto& r : targetLoad) {
        const int position = blockPosition(r.id);
        check(position > last);
        last = position;
        check(!stringUtils::contains(*r.value, ","));
    }

    const auto colocation = getColocationList(payload);
    checkRecords(colocation);
    for (const auto& r : colocation) {
        check(r.id == 0x01011040 || r.id == 0x01010FB0 || r.id == 0x01010FC0);
    }

    // Game-adaptation ids come from the four sets after the target-load one, values trimmed.
    const auto gameAdp = getGameAdpList(payload);
    checkRecords(gameAdp);
    for (const auto& r : gameAdp) {
        check(blockPosition(r.id) >= static_cast<int>(std::size(opCodeTargetLoad)));
        check(stringUtils::trim(*r.value, stringUtils::WHITESPACE) == *r.value);
    }

    const auto upgrade = getGameUpgradeList(0, 0, level, 0, 0, payload);
    checkRecords(upgrade);
    check(upgrade.size() ==
          static_cast<size_t>(level >= 1) + static_cast<size_t>(!payload.empty()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider provider(data, size);
    const int32_t level = provider.ConsumeIntegral<int32_t>();
    const std::string first = provider.ConsumeRandomLengthString();
    const std::string second = provider.ConsumeRemainingBytesAsString();
    try {
        checkStringUtils(first, second);
        checkLookup(first);
        checkBuilders(second, level);
        check(stringUtils::parseInt(stringUtils::valueOf(level)) == level);
    } catch (const std::bad_alloc&) {
    }
    return 0;
}
