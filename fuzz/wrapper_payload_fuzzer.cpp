// Fuzzes the string utilities, the action lookup and the payload builders with an input read as a
// level (its last four bytes), a first text ended by a backslash and another character ("\\" stands
// for one backslash) and a second text, the rest. Each result is checked against what the function
// promises. Running out of memory is the one failure they pass on, so std::bad_alloc is no finding.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
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

namespace {

void check(bool ok) {
    if (!ok) std::abort();
}

void checkStringUtils(const std::string& s, const std::string& set) {
    const auto inSet = [&set](char c) { return set.find(c) != std::string::npos; };
    std::string kept;
    std::remove_copy_if(s.begin(), s.end(), std::back_inserter(kept), inSet);
    std::string joined;
    for (const std::string& piece : stringUtils::split(s, set)) {
        check(!piece.empty() && std::none_of(piece.begin(), piece.end(), inSet));
        joined += piece;
    }
    check(joined == kept);

    // trim takes a NUL-terminated set: only the part before a NUL counts.
    const std::string cset = set.c_str();
    const std::string trimmed = stringUtils::trim(s, cset.c_str());
    check(stringUtils::contains(s, trimmed));
    check(trimmed.empty() || (cset.find(trimmed.front()) == std::string::npos &&
                              cset.find(trimmed.back()) == std::string::npos));

    // parseInt follows the standard conversion, with its two failures mapped to 0.
    int expected = 0;
    try {
        expected = std::stoi(s);
    } catch (const std::invalid_argument&) {
    } catch (const std::out_of_range&) {
    }
    check(stringUtils::parseInt(s) == expected);
}

// Every record the builders make carries a value, even an empty one; target-load values are single
// fields, colocation ids one of three, game-adaptation values trimmed.
void checkBuilders(const std::string& payload, int32_t level) {
    const auto upgrade = getGameUpgradeList(0, 0, level, 0, 0, payload);
    check(upgrade.size() ==
          static_cast<size_t>(level >= 1) + static_cast<size_t>(!payload.empty()));
    const auto targetLoad = getTargetLoadList(payload);
    const auto colocation = getColocationList(payload);
    const auto gameAdp = getGameAdpList(payload);
    for (const auto* list : {&targetLoad, &colocation, &gameAdp, &upgrade}) {
        for (const auto& r : *list) check(r.value.has_value());
    }
    for (const auto& r : targetLoad) check(!stringUtils::contains(*r.value, ","));
    for (const auto& r : colocation) {
        check(r.id == 0x01011040 || r.id == 0x01010FB0 || r.id == 0x01010FC0);
    }
    for (const auto& r : gameAdp) {
        check(stringUtils::trim(*r.value, stringUtils::WHITESPACE) == *r.value);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider provider(data, size);
    const int32_t level = provider.ConsumeIntegral<int32_t>();
    const std::string first = provider.ConsumeRandomLengthString();
    const std::string second = provider.ConsumeRemainingBytesAsString();
    try {
        checkStringUtils(first, second);
        const int action = qar::wrapper::findActionIdForEvent(first);
        check(action >= -1 && action < static_cast<int>(gActionList.size()));
        checkBuilders(second, level);
        check(stringUtils::parseInt(stringUtils::valueOf(level)) == level);
    } catch (const std::bad_alloc&) {
    }
    return 0;
}
