// AIBinder_DeathRecipient. Links live in the proxies; the recipient remembers which proxies it is
// linked to only so that deleting it can unlink them.
#include "death_recipient.h"

#include <algorithm>

namespace hostbinder {

void DeathRecipientState::setOnUnlinked(AIBinder_DeathRecipient_onBinderUnlinked onUnlinked) {
    MutexLock lock(mLock);
    mOnUnlinked = onUnlinked;
}

void DeathRecipientState::notifyUnlinked(void* cookie) {
    AIBinder_DeathRecipient_onBinderUnlinked onUnlinked;
    {
        MutexLock lock(mLock);
        onUnlinked = mOnUnlinked;
    }
    if (onUnlinked != nullptr) onUnlinked(cookie);
}

void DeathRecipientState::addLink(RefControl* proxy) {
    proxy->incWeak();
    MutexLock lock(mLock);
    mLinked.push_back(proxy);
}

void DeathRecipientState::removeLink(RefControl* proxy) {
    bool found = false;
    {
        MutexLock lock(mLock);
        auto it = std::find(mLinked.begin(), mLinked.end(), proxy);
        if (it != mLinked.end()) {
            *it = mLinked.back();
            mLinked.pop_back();
            found = true;
        }
    }
    // Not found: the recipient is being deleted and the deleting thread owns the entry.
    if (found) proxy->decWeak();
}

std::vector<RefControl*> DeathRecipientState::takeLinks() {
    MutexLock lock(mLock);
    return std::move(mLinked);
}

}  // namespace hostbinder

using hostbinder::DeathRecipientState;
using hostbinder::ProxyBinder;
using hostbinder::RefControl;

AIBinder_DeathRecipient* AIBinder_DeathRecipient_new(
        AIBinder_DeathRecipient_onBinderDied onBinderDied) {
    if (onBinderDied == nullptr) return nullptr;
    return new AIBinder_DeathRecipient{std::make_shared<DeathRecipientState>(onBinderDied)};
}

void AIBinder_DeathRecipient_setOnUnlinked(AIBinder_DeathRecipient* recipient,
                                           AIBinder_DeathRecipient_onBinderUnlinked onUnlinked) {
    if (recipient != nullptr) recipient->mState->setOnUnlinked(onUnlinked);
}

void AIBinder_DeathRecipient_delete(AIBinder_DeathRecipient* recipient) {
    if (recipient == nullptr) return;
    std::shared_ptr<DeathRecipientState> state = std::move(recipient->mState);
    delete recipient;
    for (RefControl* proxy : state->takeLinks()) {
        std::vector<void*> cookies;
        if (proxy->tryIncStrong()) {
            cookies = static_cast<ProxyBinder*>(proxy->object())->removeLinksOf(state.get());
            proxy->decStrong();
        }
        // A proxy being destroyed reports its remaining links itself.
        proxy->decWeak();
        for (void* cookie : cookies) state->notifyUnlinked(cookie);
    }
}
