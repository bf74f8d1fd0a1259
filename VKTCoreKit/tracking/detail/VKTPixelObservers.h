// Who listens to a pixel manager.
#pragma once

#include <atomic>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/VKTGuardedCall.h"
#include "VKTCoreKit/tracking/VKTPixelObserver.h"

/// Observers, held weakly, in the order in which they were given: one that is set and any number that are
/// added. Who is both is told once. Any thread; the members may be called inside `tell`.
class VKTPixelObservers {
  public:
    /// In place of the one that was set before; null for none.
    void set(const std::shared_ptr<VKTPixelObserver>& observer);

    /// Null does nothing.
    void add(const std::shared_ptr<VKTPixelObserver>& observer);
    void remove(const std::shared_ptr<VKTPixelObserver>& observer);

    /// Whether `tell` has nobody to tell. Those that are gone count until it meets them.
    [[nodiscard]] bool isEmpty() const { return isEmpty_; }

    /// Calls those that are there now, with no lock held. Who is taken out meanwhile is not called any more.
    template <typename... Parameters, typename... Arguments>
    void tell(void (VKTPixelObserver::*what)(Parameters...), const Arguments&... arguments) {
        if (isEmpty_) return;
        for (Round round; round.told < round.last;) {
            const auto observer = next(round);
            if (!observer) continue;
            vkt_callGuarded("the observer of a VKTPixelManager", [&] { ((*observer).*what)(arguments...); });
        }
    }

  private:
    using Number = std::uint64_t;  // grows with each observer that is given

    struct Entry {
        std::weak_ptr<VKTPixelObserver> observer;
        const VKTPixelObserver* address;  // of one that may be gone
        bool isSet = false;
        bool isAdded = false;
    };
    using Entries = std::map<Number, Entry>;

    struct Round {
        Number told = 0;
        Number last = std::numeric_limits<Number>::max();
    };

    std::shared_ptr<VKTPixelObserver> next(Round& round);
    Entry& entryOf(const std::shared_ptr<VKTPixelObserver>& observer) VKT_REQUIRES(mutex_);
    Entries takeOutUnneeded() VKT_REQUIRES(mutex_);

    std::atomic<bool> isEmpty_ = true;
    VKTMutex mutex_;
    Entries entries_ VKT_GUARDED_BY(mutex_);
    Number lastNumber_ VKT_GUARDED_BY(mutex_) = 0;
};
