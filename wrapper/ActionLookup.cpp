#include "wrapper/ActionLookup.h"

#include <algorithm>
#include <array>

#include "wrapper/ActionNames.h"

namespace qar::wrapper {

namespace {

// Acquisition by name sits on the touch and launch paths of every client process, so the lookup
// is a binary search over an index sorted at compile time: no initialisation at load, no lock, and
// nothing to tear down before late callers at exit.
struct IndexEntry {
    std::string_view name;
    int position;
};

// Length first: most probes are then decided without reading the names' shared "ACTION_" prefix.
constexpr int compareNames(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return a.size() < b.size() ? -1 : 1;
    return a.compare(b);
}

// Equal names are ordered by position, so the first match of a search is the name's first entry.
constexpr bool entryLess(const IndexEntry& a, const IndexEntry& b) {
    const int order = compareNames(a.name, b.name);
    return order != 0 ? order < 0 : a.position < b.position;
}

constexpr std::array<IndexEntry, kActionCount> buildIndex() {
    std::array<IndexEntry, kActionCount> index{};
    for (size_t i = 0; i < kActionCount; ++i) {
        index[i] = {kActionNames[i], static_cast<int>(i)};
    }
    // Insertion sort: std::sort is not constexpr before C++20.
    for (size_t i = 1; i < kActionCount; ++i) {
        const IndexEntry entry = index[i];
        size_t j = i;
        for (; j > 0 && entryLess(entry, index[j - 1]); --j) index[j] = index[j - 1];
        index[j] = entry;
    }
    return index;
}

constexpr std::array<IndexEntry, kActionCount> kIndex = buildIndex();

constexpr std::string_view kEventMarker = "TRIVEX_";
// The action name always starts after the first seven characters, wherever the marker was found.
constexpr size_t kEventNameOffset = 7;

}  // namespace

int findActionIndex(std::string_view name) {
    const auto it = std::lower_bound(kIndex.begin(), kIndex.end(), name,
                                     [](const IndexEntry& entry, std::string_view key) {
                                         return compareNames(entry.name, key) < 0;
                                     });
    if (it == kIndex.end() || it->name != name) return -1;
    return it->position;
}

int findActionIdForEvent(std::string_view eventId) {
    if (eventId.find(kEventMarker) == std::string_view::npos) return -1;
    return findActionIndex(eventId.substr(kEventNameOffset));
}

}  // namespace qar::wrapper
