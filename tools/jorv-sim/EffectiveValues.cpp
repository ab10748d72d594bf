#include "EffectiveValues.h"

#include <set>

namespace jorvsim {

std::string Owner::toString() const {
    return (kind == Kind::kRequest ? "handle " : "rule ") + std::to_string(id);
}

std::vector<Change> EffectiveValues::set(const Owner& owner, const Values& values) {
    std::set<ResourceKey> touched;
    if (auto it = mByOwner.find(owner); it != mByOwner.end()) {
        for (const auto& [key, order] : it->second) touched.insert(key);
    }
    for (const auto& [key, value] : values) touched.insert(key);

    std::vector<Change> changes;
    for (const ResourceKey& key : touched) changes.push_back(Change{key, valueOf(key), {}});

    erase(owner);
    if (!values.empty()) {
        auto& placed = mByOwner[owner];
        for (const auto& [key, value] : values) {
            const uint64_t order = mNextOrder++;
            mByKey[key].emplace(order, Setting{owner, value});
            placed.emplace_back(key, order);
        }
    }

    std::vector<Change> changed;
    for (Change& change : changes) {
        change.after = valueOf(change.key);
        if (change.before != change.after) changed.push_back(std::move(change));
    }
    return changed;
}

std::vector<Change> EffectiveValues::withdraw(const Owner& owner) {
    return set(owner, {});
}

void EffectiveValues::erase(const Owner& owner) {
    auto it = mByOwner.find(owner);
    if (it == mByOwner.end()) return;
    for (const auto& [key, order] : it->second) {
        auto settings = mByKey.find(key);
        if (settings == mByKey.end()) continue;
        settings->second.erase(order);
        if (settings->second.empty()) mByKey.erase(settings);
    }
    mByOwner.erase(it);
}

std::optional<std::string> EffectiveValues::valueOf(const ResourceKey& key) const {
    auto it = mByKey.find(key);
    if (it == mByKey.end() || it->second.empty()) return std::nullopt;
    return it->second.rbegin()->second.value;
}

std::vector<EffectiveValues::Entry> EffectiveValues::effective() const {
    std::vector<Entry> entries;
    for (const auto& [key, settings] : mByKey) {
        if (settings.empty()) continue;
        const Setting& newest = settings.rbegin()->second;
        entries.push_back(Entry{key, newest.value, newest.owner});
    }
    return entries;
}

std::map<ResourceKey, std::vector<EffectiveValues::Setting>> EffectiveValues::settings() const {
    std::map<ResourceKey, std::vector<Setting>> all;
    for (const auto& [key, settings] : mByKey) {
        auto& list = all[key];
        for (auto it = settings.rbegin(); it != settings.rend(); ++it) list.push_back(it->second);
    }
    return all;
}

}  // namespace jorvsim
