#include "Thermal.h"

#include <algorithm>
#include <set>

namespace jorvsim {

std::vector<int32_t> Thermal::setLevels(const DataList& records) {
    std::vector<int32_t> changed;
    for (const JorvRequestData& record : records) {
        if (record.id == 0 || !record.value.has_value()) continue;
        auto [it, inserted] = mLevels.emplace(record.id, *record.value);
        if (!inserted && it->second == *record.value) continue;
        it->second = *record.value;
        if (std::find(changed.begin(), changed.end(), record.id) == changed.end()) {
            changed.push_back(record.id);
        }
    }
    return changed;
}

std::optional<std::string> Thermal::levelOf(int32_t id) const {
    auto it = mLevels.find(id);
    if (it == mLevels.end()) return std::nullopt;
    return it->second;
}

void Thermal::add(ThermalListening listening) {
    const int32_t handle = listening.handle;
    mListenings[handle] = std::move(listening);
}

std::optional<ThermalListening> Thermal::remove(int32_t handle) {
    auto it = mListenings.find(handle);
    if (it == mListenings.end()) return std::nullopt;
    ThermalListening listening = std::move(it->second);
    mListenings.erase(it);
    return listening;
}

std::vector<Notification> Thermal::notify(const std::vector<int32_t>& changedIds) const {
    std::vector<Notification> notifications;
    const std::set<int32_t> changed(changedIds.begin(), changedIds.end());
    for (const auto& [handle, listening] : mListenings) {
        DataList data;
        for (const int32_t id : listening.ids) {
            if (changed.count(id) == 0) continue;
            JorvRequestData record;
            record.id = id;
            record.value = levelOf(id);
            data.push_back(std::move(record));
        }
        if (!data.empty()) {
            notifications.push_back(Notification{handle, listening.callback, std::move(data)});
        }
    }
    return notifications;
}

}  // namespace jorvsim
