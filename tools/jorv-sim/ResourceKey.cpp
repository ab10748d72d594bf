#include "ResourceKey.h"

#include "Format.h"

namespace jorvsim {

std::optional<ResourceKey> ResourceKey::of(const JorvRequestData& record) {
    if (record.path.has_value() && !record.path->empty()) return byPath(*record.path);
    if (record.id != 0) return byId(record.id);
    return std::nullopt;
}

JorvRequestData ResourceKey::toRecord(const std::optional<std::string>& value) const {
    JorvRequestData record;
    if (isPath()) {
        record.path = path;
    } else {
        record.id = id;
    }
    record.value = value;
    return record;
}

std::string ResourceKey::toString() const {
    return isPath() ? "path " + quotedText(path) : formatId(id);
}

}  // namespace jorvsim
