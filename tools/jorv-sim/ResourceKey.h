// How requests, queries and listenings name a resource.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>

#include "ModelTypes.h"

namespace jorvsim {

// A resource named by numeric id or by path. The two are separate name spaces: id 5 and the path
// "5" are different resources.
struct ResourceKey {
    int32_t id = 0;
    std::string path;  // non-empty for a resource named by path

    static ResourceKey byId(int32_t id) { return ResourceKey{id, {}}; }
    static ResourceKey byPath(std::string path) { return ResourceKey{0, std::move(path)}; }
    // The resource a record names: its path when it carries a non-empty one, else its id unless
    // that is 0 (which stands for no id). None for a record that names nothing.
    static std::optional<ResourceKey> of(const JorvRequestData& record);

    bool isPath() const { return !path.empty(); }
    // A record naming this resource and carrying `value` (absent stays absent).
    JorvRequestData toRecord(const std::optional<std::string>& value) const;
    // 0x01011070, 42 or path "/sys/..." as the transcript shows it.
    std::string toString() const;

    bool operator<(const ResourceKey& other) const {
        return std::tie(path, id) < std::tie(other.path, other.id);
    }
    bool operator==(const ResourceKey& other) const { return id == other.id && path == other.path; }
};

}  // namespace jorvsim
