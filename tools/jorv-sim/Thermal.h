// Thermal levels reported by thermal notifications, and the registrations that hear about them.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ModelTypes.h"

namespace jorvsim {

struct ThermalListening {
    int32_t handle = -1;
    std::vector<int32_t> ids;
    std::shared_ptr<IJorvCallback> callback;
    pid_t pid = 0;
};

class Thermal {
public:
    // Takes the level (the value) of each record with an id and a value; returns the ids whose
    // level changed, in record order. Records without either name no level and are skipped.
    std::vector<int32_t> setLevels(const DataList& records);
    std::optional<std::string> levelOf(int32_t id) const;

    bool contains(int32_t handle) const { return mListenings.count(handle) != 0; }
    void add(ThermalListening listening);
    std::optional<ThermalListening> remove(int32_t handle);
    // One notification per registration that listens to any of `changedIds`: a record {id, level}
    // per changed id it listens to, in the order of its ids.
    std::vector<Notification> notify(const std::vector<int32_t>& changedIds) const;

    const std::map<int32_t, std::string>& levels() const { return mLevels; }
    const std::map<int32_t, ThermalListening>& listenings() const { return mListenings; }

private:
    std::map<int32_t, std::string> mLevels;
    std::map<int32_t, ThermalListening> mListenings;
};

}  // namespace jorvsim
