// ProxyBinder: an object of the peer, reached through a connection.
#include <string>

#include "binder_internal.h"
#include "connection.h"
#include "death_recipient.h"
#include "parcel_internal.h"

namespace hostbinder {

ProxyBinder::ProxyBinder(std::shared_ptr<Connection> connection, uint64_t remoteId)
    : AIBinder(nullptr), mConnection(std::move(connection)), mRemoteId(remoteId) {}

ProxyBinder::~ProxyBinder() {
    std::vector<DeathLink> links;
    {
        MutexLock lock(mLock);
        links.swap(mLinks);
    }
    mConnection->proxyDestroyed(mRemoteId, mRefs);
    // Links that outlive their proxy end here; their owners learn it through onUnlinked.
    for (const DeathLink& link : links) {
        link.recipient->removeLink(mRefs);
        link.recipient->notifyUnlinked(link.cookie);
    }
}

bool ProxyBinder::isAlive() const {
    return !mConnection->isDead();
}

binder_status_t ProxyBinder::transact(transaction_code_t code, const AParcel& data, AParcel** reply,
                                      binder_flags_t flags) {
    return mConnection->transact(mRemoteId, code, data, reply, flags);
}

binder_status_t ProxyBinder::remoteDescriptor(std::string* descriptor) {
    {
        MutexLock lock(mLock);
        if (mHaveDescriptor) {
            *descriptor = mDescriptor;
            return STATUS_OK;
        }
    }
    AParcel data;
    AParcel* reply = nullptr;
    binder_status_t st = transact(kInterfaceTransaction, data, &reply, 0);
    if (st != STATUS_OK) return st;
    std::unique_ptr<AParcel> owned(reply);
    std::string answer;
    st = AParcel_readString(reply, &answer, [](void* out, int32_t length, char** buffer) {
        if (length <= 0) return false;  // a descriptor is never null
        auto* text = static_cast<std::string*>(out);
        text->resize(static_cast<size_t>(length - 1));
        *buffer = text->data();
        return true;
    });
    if (st != STATUS_OK) return STATUS_BAD_VALUE;
    MutexLock lock(mLock);
    mHaveDescriptor = true;
    mDescriptor = answer;
    *descriptor = std::move(answer);
    return STATUS_OK;
}

binder_status_t ProxyBinder::linkToDeath(const std::shared_ptr<DeathRecipientState>& recipient,
                                         void* cookie) {
    // Registered with the recipient first, so that a death delivered right after the link is
    // added always finds the entry it removes.
    recipient->addLink(mRefs);
    {
        MutexLock lock(mLock);
        // The connection is marked dead before deaths are delivered, so a link added while the
        // connection is alive is always seen by deliverDeath().
        if (!mDeathDelivered && !mConnection->isDead()) {
            mLinks.push_back(DeathLink{recipient, cookie});
            return STATUS_OK;
        }
    }
    recipient->removeLink(mRefs);
    return STATUS_DEAD_OBJECT;
}

binder_status_t ProxyBinder::unlinkToDeath(const std::shared_ptr<DeathRecipientState>& recipient,
                                           void* cookie) {
    bool found = false;
    {
        MutexLock lock(mLock);
        for (auto it = mLinks.begin(); it != mLinks.end(); ++it) {
            if (it->recipient == recipient && it->cookie == cookie) {
                mLinks.erase(it);
                found = true;
                break;
            }
        }
    }
    if (!found) return mConnection->isDead() ? STATUS_DEAD_OBJECT : STATUS_NAME_NOT_FOUND;
    recipient->removeLink(mRefs);
    recipient->notifyUnlinked(cookie);
    return STATUS_OK;
}

std::vector<void*> ProxyBinder::removeLinksOf(const DeathRecipientState* recipient) {
    std::vector<void*> cookies;
    MutexLock lock(mLock);
    for (auto it = mLinks.begin(); it != mLinks.end();) {
        if (it->recipient.get() == recipient) {
            cookies.push_back(it->cookie);
            it = mLinks.erase(it);
        } else {
            ++it;
        }
    }
    return cookies;
}

void ProxyBinder::deliverDeath() {
    std::vector<DeathLink> links;
    {
        MutexLock lock(mLock);
        if (mDeathDelivered) return;
        mDeathDelivered = true;
        links.swap(mLinks);
    }
    for (const DeathLink& link : links) {
        link.recipient->notifyDied(link.cookie);
        link.recipient->removeLink(mRefs);
        link.recipient->notifyUnlinked(link.cookie);
    }
}

}  // namespace hostbinder
