#include "Listenings.h"

namespace jorvsim {

void Listenings::add(Listening listening) {
    const int32_t handle = listening.handle;
    mListenings[handle] = std::move(listening);
}

std::optional<Listening> Listenings::remove(int32_t handle) {
    auto it = mListenings.find(handle);
    if (it == mListenings.end()) return std::nullopt;
    Listening listening = std::move(it->second);
    mListenings.erase(it);
    return listening;
}

std::vector<Notification> Listenings::notify(const std::vector<Change>& changes) const {
    std::vector<Notification> notifications;
    if (changes.empty()) return notifications;
    std::map<ResourceKey, const Change*> byKey;
    for (const Change& change : changes) byKey[change.key] = &change;

    for (const auto& [handle, listening] : mListenings) {
        DataList data;
        for (const ResourceKey& key : listening.keys) {
            auto it = byKey.find(key);
            if (it != byKey.end()) data.push_back(key.toRecord(it->second->after));
        }
        if (!data.empty()) {
            notifications.push_back(Notification{handle, listening.callback, std::move(data)});
        }
    }
    return notifications;
}

}  // namespace jorvsim
