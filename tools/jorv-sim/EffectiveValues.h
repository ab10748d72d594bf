// Effective resource values: what each resource is set to once every active request and every
// rule that is switched on has had its say.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ResourceKey.h"

namespace jorvsim {

// Who sets a value: an active request (by handle) or a rule that is on (by rule id).
struct Owner {
    enum class Kind { kRequest, kRule };
    Kind kind = Kind::kRequest;
    int32_t id = 0;

    static Owner request(int32_t handle) { return Owner{Kind::kRequest, handle}; }
    static Owner rule(int32_t ruleId) { return Owner{Kind::kRule, ruleId}; }
    // "handle 3" or "rule 102".
    std::string toString() const;

    bool operator<(const Owner& other) const {
        return std::tie(kind, id) < std::tie(other.kind, other.id);
    }
    bool operator==(const Owner& other) const { return kind == other.kind && id == other.id; }
};

// A resource whose effective value changed; an absent value means nobody sets it any more.
struct Change {
    ResourceKey key;
    std::optional<std::string> before;
    std::optional<std::string> after;
};

using Values = std::vector<std::pair<ResourceKey, std::string>>;

// The most recent setting of a resource wins. When it is withdrawn the next most recent one takes
// over again, so releasing a newer request restores what an older, still active one asked for.
class EffectiveValues {
public:
    struct Setting {
        Owner owner;
        std::string value;
    };
    struct Entry {
        ResourceKey key;
        std::string value;
        Owner owner;
    };

    // Replaces whatever `owner` set by `values`, which become the newest settings (a resource
    // listed twice takes its later value). Returns the resources whose effective value changed.
    std::vector<Change> set(const Owner& owner, const Values& values);
    // Withdraws everything `owner` set; returns the resources whose effective value changed.
    std::vector<Change> withdraw(const Owner& owner);

    std::optional<std::string> valueOf(const ResourceKey& key) const;
    // Every resource that has an effective value, in key order, with the owner that sets it.
    std::vector<Entry> effective() const;
    // Every resource's settings, newest first.
    std::map<ResourceKey, std::vector<Setting>> settings() const;

private:
    // Removes the owner's settings without looking at what changes.
    void erase(const Owner& owner);

    // Per resource, its settings in the order they were made (the key is a running counter).
    std::map<ResourceKey, std::map<uint64_t, Setting>> mByKey;
    // Per owner, where its settings are.
    std::map<Owner, std::vector<std::pair<ResourceKey, uint64_t>>> mByOwner;
    uint64_t mNextOrder = 1;
};

}  // namespace jorvsim
