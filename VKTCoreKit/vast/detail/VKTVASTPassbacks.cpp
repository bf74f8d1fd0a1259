#include "VKTCoreKit/vast/detail/VKTVASTPassbacks.h"

#include <utility>

VKTVASTPassbacks::AdPointer VKTVASTPassbacks::ConsumableAds::consumeNext() {
    while (cursor < ads.size()) {
        const AdPointer& ad = ads[cursor++];
        if (ad->consume()) return ad;
    }
    return nullptr;
}

bool VKTVASTPassbacks::ConsumableAds::hasUnconsumed() {
    while (cursor < ads.size() && ads[cursor]->hasBeenConsumed())
        ++cursor;
    return cursor < ads.size();
}

void VKTVASTPassbacks::add(const AdPointer& ad) {
    const VKTLock lock(mutex_);
    if (known_.insert(ad.get()).second) (ad->isInline() ? inline_ : wrappers_).ads.push_back(ad);
}

VKTVASTPassbacks::AdPointer VKTVASTPassbacks::consumeNextInline() {
    const VKTLock lock(mutex_);
    return inline_.consumeNext();
}

bool VKTVASTPassbacks::hasInline() {
    const VKTLock lock(mutex_);
    return inline_.hasUnconsumed();
}

bool VKTVASTPassbacks::hasWrapper() {
    const VKTLock lock(mutex_);
    return wrappers_.hasUnconsumed();
}

VKTVASTPassbacks::Ads VKTVASTPassbacks::inlineAds() const {
    const VKTLock lock(mutex_);
    return inline_.ads;
}

VKTVASTPassbacks::Ads VKTVASTPassbacks::wrapperAds() const {
    const VKTLock lock(mutex_);
    return wrappers_.ads;
}

VKTVASTPassbacks::Ads VKTVASTPassbacks::beginResolution() {
    const VKTLock lock(mutex_);
    if (isCancelled_ || isResolving_ || didResolve_ || !wrappers_.hasUnconsumed()) return {};
    isResolving_ = true;
    return wrappers_.ads;
}

VKTVASTPassbacks::Result VKTVASTPassbacks::waitForResult() {
    VKTLock lock(mutex_);
    while (!hasWaitEnded_)
        waitEnded_.wait(lock);
    return isCancelled_ ? Result() : result_;
}

bool VKTVASTPassbacks::beginPassback() {
    const VKTLock lock(mutex_);
    if (!isCancelled_) ++underWay_;
    return !isCancelled_;
}

bool VKTVASTPassbacks::claim(const AdPointer& ad) {
    const VKTLock lock(mutex_);
    if (isCancelled_ || place_ != Place::Free || !ad->consume() || !ad->isValid()) return false;
    place_ = Place::Claimed;
    return true;
}

void VKTVASTPassbacks::endEmpty() {
    const VKTLock lock(mutex_);
    end(false);
}

void VKTVASTPassbacks::endWith(Result result) {
    const VKTLock lock(mutex_);
    place_ = Place::Filled;
    result_ = std::move(result);
    hasWaitEnded_ = true;
    waitEnded_.notify_all();
    end(false);
}

VKTVASTPassbacks::AdPointer VKTVASTPassbacks::endRefused() {
    const VKTLock lock(mutex_);
    // After an empty wait those that have arrived are left to later calls.
    while (!hasWaitEnded_ && !isCancelled_) {
        AdPointer next = inline_.consumeNext();
        if (!next) break;
        if (next->isValid()) return next;
    }
    place_ = Place::Free;
    end(underWay_ > 1);
    return nullptr;
}

void VKTVASTPassbacks::cancel() {
    const VKTLock lock(mutex_);
    isCancelled_ = true;
    if (underWay_ == 0) endResolution();
}

void VKTVASTPassbacks::endWait() {
    const VKTLock lock(mutex_);
    endResolution();
}

bool VKTVASTPassbacks::isResolving() const {
    const VKTLock lock(mutex_);
    return isResolving_;
}

bool VKTVASTPassbacks::didResolve() const {
    const VKTLock lock(mutex_);
    return didResolve_;
}

// Of one passback; the last of them, or one that ends empty when all have been started, ends the resolution.
void VKTVASTPassbacks::end(bool isAnotherExpected) {
    --underWay_;
    const bool isOpen = wrappers_.hasUnconsumed() || place_ == Place::Claimed || isAnotherExpected;
    if (isCancelled_ || !isOpen) endResolution();
}

void VKTVASTPassbacks::endResolution() {
    if (!isResolving_) return;
    isResolving_ = false;
    didResolve_ = true;
    hasWaitEnded_ = true;
    waitEnded_.notify_all();
}
