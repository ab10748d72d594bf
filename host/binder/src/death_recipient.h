// Shared state of an AIBinder_DeathRecipient. Links hold it by shared_ptr, so a notification that
// is already under way survives AIBinder_DeathRecipient_delete.
#pragma once

#include <android/binder_ibinder.h>

#include <memory>
#include <vector>

#include "binder_internal.h"
#include "mutex.h"

namespace hostbinder {

struct DeathRecipientState {
    explicit DeathRecipientState(AIBinder_DeathRecipient_onBinderDied onDied) : mOnDied(onDied) {}

    void setOnUnlinked(AIBinder_DeathRecipient_onBinderUnlinked onUnlinked) EXCLUDES(mLock);
    void notifyDied(void* cookie) const { mOnDied(cookie); }
    void notifyUnlinked(void* cookie) EXCLUDES(mLock);

    // Book-keeping of the proxies this recipient is linked to, one entry (holding a weak
    // reference) per link, so that deleting the recipient can find them again.
    void addLink(RefControl* proxy) EXCLUDES(mLock);
    void removeLink(RefControl* proxy) EXCLUDES(mLock);
    std::vector<RefControl*> takeLinks() EXCLUDES(mLock);

private:
    const AIBinder_DeathRecipient_onBinderDied mOnDied;
    Mutex mLock;
    AIBinder_DeathRecipient_onBinderUnlinked mOnUnlinked GUARDED_BY(mLock) = nullptr;
    std::vector<RefControl*> mLinked GUARDED_BY(mLock);
};

}  // namespace hostbinder

struct AIBinder_DeathRecipient {
    std::shared_ptr<hostbinder::DeathRecipientState> mState;
};
