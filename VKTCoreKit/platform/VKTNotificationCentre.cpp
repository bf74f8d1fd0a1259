#include "VKTCoreKit/platform/VKTNotificationCentre.h"

#include <map>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/VKTGuardedCall.h"

struct VKTNotificationCentre::Registry {
    struct Observer {
        std::string name;
        VKTNotificationHandler handler;
    };
    using Observers = std::map<std::uint64_t, std::shared_ptr<const Observer>>;

    // By registration number, hence in registration order.
    VKTMutex mutex;
    Observers observers VKT_GUARDED_BY(mutex);
    std::uint64_t nextNumber VKT_GUARDED_BY(mutex) = 0;

    std::vector<std::uint64_t> numbersOfObservers(const std::string& name) {
        VKTLock lock(mutex);
        std::vector<std::uint64_t> numbers;
        for (const auto& [number, observer] : observers) {
            if (observer->name == name) numbers.push_back(number);
        }
        return numbers;
    }

    std::shared_ptr<const Observer> observerWithNumber(std::uint64_t number) {
        VKTLock lock(mutex);
        const auto found = observers.find(number);
        return found == observers.end() ? nullptr : found->second;
    }

    // The handler may hold anything, so it is destroyed after the lock is released.
    void remove(std::uint64_t number) {
        std::shared_ptr<const Observer> removed;
        VKTLock lock(mutex);
        const auto found = observers.find(number);
        if (found == observers.end()) return;
        removed = std::move(found->second);
        observers.erase(found);
    }
};

VKTNotificationCentre::VKTNotificationCentre() : registry_(std::make_shared<Registry>()) {}

VKTNotificationToken VKTNotificationCentre::addObserver(std::string name, VKTNotificationHandler handler) {
    auto observer =
        std::make_shared<Registry::Observer>(Registry::Observer{std::move(name), std::move(handler)});
    VKTLock lock(registry_->mutex);
    const std::uint64_t number = registry_->nextNumber++;
    registry_->observers.emplace(number, std::move(observer));
    return VKTNotificationToken([registry = std::weak_ptr<Registry>(registry_), number] {
        if (const auto held = registry.lock()) held->remove(number);
    });
}

void VKTNotificationCentre::post(const VKTNotification& notification) {
    const auto registry = registry_;
    for (const std::uint64_t number : registry->numbersOfObservers(notification.name)) {
        const auto observer = registry->observerWithNumber(number);
        if (observer && observer->handler)
            vkt_callGuarded("an observer of " + notification.name, [&] { observer->handler(notification); });
    }
}
