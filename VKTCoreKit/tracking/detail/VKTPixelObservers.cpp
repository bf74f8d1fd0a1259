#include "VKTCoreKit/tracking/detail/VKTPixelObservers.h"

#include <algorithm>
#include <iterator>

// In each of these `gone` is destroyed after the lock is released: the last weak reference destroys the
// deleter of a shared pointer, which is the application's.

void VKTPixelObservers::set(const std::shared_ptr<VKTPixelObserver>& observer) {
    Entries gone;
    VKTLock lock(mutex_);
    for (auto& [number, entry] : entries_)
        entry.isSet = false;
    if (observer) entryOf(observer).isSet = true;
    gone = takeOutUnneeded();
}

void VKTPixelObservers::add(const std::shared_ptr<VKTPixelObserver>& observer) {
    if (!observer) return;
    Entries gone;
    VKTLock lock(mutex_);
    entryOf(observer).isAdded = true;
    gone = takeOutUnneeded();
}

void VKTPixelObservers::remove(const std::shared_ptr<VKTPixelObserver>& observer) {
    if (!observer) return;
    Entries gone;
    VKTLock lock(mutex_);
    entryOf(observer).isAdded = false;
    gone = takeOutUnneeded();
}

std::shared_ptr<VKTPixelObserver> VKTPixelObservers::next(Round& round) {
    Entries gone;
    VKTLock lock(mutex_);
    round.last = std::min(round.last, lastNumber_);
    for (auto each = entries_.upper_bound(round.told); each != entries_.end() && each->first <= round.last;) {
        round.told = each->first;
        if (auto observer = each->second.observer.lock()) return observer;
        gone.insert(entries_.extract(each++));
    }
    round.told = round.last;
    isEmpty_ = entries_.empty();
    return nullptr;
}

// A new one when there is none. No reference to an observer is taken: it could be the last.
VKTPixelObservers::Entry& VKTPixelObservers::entryOf(const std::shared_ptr<VKTPixelObserver>& observer) {
    for (auto& [number, entry] : entries_) {
        if (entry.address == observer.get() && !entry.observer.expired()) return entry;
    }
    return entries_.emplace(++lastNumber_, Entry{observer, observer.get()}).first->second;
}

VKTPixelObservers::Entries VKTPixelObservers::takeOutUnneeded() {
    Entries unneeded;
    for (auto each = entries_.begin(); each != entries_.end();) {
        const auto following = std::next(each);
        const Entry& entry = each->second;
        const bool isKept = (entry.isSet || entry.isAdded) && !entry.observer.expired();
        if (!isKept) unneeded.insert(entries_.extract(each));
        each = following;
    }
    isEmpty_ = entries_.empty();
    return unneeded;
}
