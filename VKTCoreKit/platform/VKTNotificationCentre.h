// In-process notifications.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTValue.h"

/// What has happened, by name, and the details of it.
struct VKTNotification {
    std::string name;
    VKTDictionary userInfo;
};

using VKTNotificationHandler = std::function<void(const VKTNotification& notification)>;

/// Keeps one observer registered; destroying or resetting it unregisters. It may outlive the centre.
class VKTNotificationToken {
  public:
    VKTNotificationToken() = default;
    explicit VKTNotificationToken(std::function<void()> unregister) : unregister_(std::move(unregister)) {}
    ~VKTNotificationToken() { reset(); }
    VKTNotificationToken(VKTNotificationToken&& other) noexcept
        : unregister_(std::exchange(other.unregister_, nullptr)) {}
    VKTNotificationToken& operator=(VKTNotificationToken&& other) noexcept {
        if (this != &other) {
            reset();
            unregister_ = std::exchange(other.unregister_, nullptr);
        }
        return *this;
    }

    void reset() {
        if (const auto unregister = std::exchange(unregister_, nullptr)) unregister();
    }

  private:
    std::function<void()> unregister_;
};

/// Delivers each notification synchronously, on the posting thread, to the observers of its name in the order
/// of their registration. An observer that is added while a notification is delivered does not hear it; one
/// that is unregistered before its turn is not called any more. Any thread may post and register; no lock is
/// held while an observer runs. An observer unregistered on another thread than the one that posts may still
/// be running when `reset` returns.
class VKT_EXPORT VKTNotificationCentre {
  public:
    VKTNotificationCentre();

    [[nodiscard]] VKTNotificationToken addObserver(std::string name, VKTNotificationHandler handler);
    void post(const VKTNotification& notification);

  private:
    struct Registry;

    std::shared_ptr<Registry> registry_;  // shared with posts under way; tokens hold it weakly
};
