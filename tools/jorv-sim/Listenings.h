// Listening registrations: callbacks for changes of the effective values of some resources.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "EffectiveValues.h"
#include "ModelTypes.h"
#include "ResourceKey.h"

namespace jorvsim {

struct Listening {
    int32_t handle = -1;
    std::vector<ResourceKey> keys;  // in the order the caller listed them
    std::shared_ptr<IJorvCallback> callback;
    pid_t pid = 0;
};

class Listenings {
public:
    bool contains(int32_t handle) const { return mListenings.count(handle) != 0; }
    void add(Listening listening);
    std::optional<Listening> remove(int32_t handle);
    // One notification per listening that listens to any of `changes`, carrying a record per
    // changed resource it listens to (in the order of its keys) with the new value, absent when
    // nothing sets the resource any more.
    std::vector<Notification> notify(const std::vector<Change>& changes) const;

    const std::map<int32_t, Listening>& all() const { return mListenings; }

private:
    std::map<int32_t, Listening> mListenings;
};

}  // namespace jorvsim
