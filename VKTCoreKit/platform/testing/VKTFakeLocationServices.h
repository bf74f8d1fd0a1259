// Location services that a test answers for.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <set>

#include "VKTCoreKit/platform/VKTLocationServices.h"

/// Switched off and not asked for at first. Requests wait until the test speaks to their delegates.
class VKTFakeLocationServices final : public VKTLocationServices {
  public:
    [[nodiscard]] bool locationServicesEnabled() const override { return isEnabled_; }
    [[nodiscard]] VKTLocationAuthorizationStatus authorizationStatus() const override { return status_; }
    [[nodiscard]] std::unique_ptr<VKTLocationRequest> requestLocation(
        const std::shared_ptr<VKTLocationRequestDelegate>& delegate) override {
        return std::make_unique<Request>(requests_, delegate);
    }

    void setEnabled(bool enabled) { isEnabled_ = enabled; }
    void setAuthorizationStatus(VKTLocationAuthorizationStatus status) { status_ = status; }

    /// Requests that have not been destroyed.
    [[nodiscard]] std::size_t requestCount() const { return requests_->size(); }

    /// Calls the delegate of each.
    void tellDelegates(const std::function<void(VKTLocationRequestDelegate& delegate)>& what) {
        const Requests told = *requests_;
        for (const Request* request : told) {
            if (!requests_->contains(request)) continue;
            if (const auto delegate = request->delegate.lock()) what(*delegate);
        }
    }

  private:
    struct Request;
    using Requests = std::set<const Request*>;

    struct Request final : VKTLocationRequest {
        Request(std::shared_ptr<Requests> others, const std::shared_ptr<VKTLocationRequestDelegate>& listener)
            : requests(std::move(others)), delegate(listener) {
            requests->insert(this);
        }
        ~Request() override { requests->erase(this); }
        Request(const Request&) = delete;
        Request& operator=(const Request&) = delete;

        const std::shared_ptr<Requests> requests;
        const std::weak_ptr<VKTLocationRequestDelegate> delegate;
    };

    std::atomic<bool> isEnabled_ = false;
    VKTLocationAuthorizationStatus status_ = VKTLocationAuthorizationStatusNotDetermined;
    const std::shared_ptr<Requests> requests_ = std::make_shared<Requests>();
};
