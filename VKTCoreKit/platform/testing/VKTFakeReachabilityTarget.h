// A network that a test connects and disconnects.
#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/VKTReachabilityTarget.h"

/// Unreadable until its flags are set. Any thread.
class VKTFakeReachabilityTarget final : public VKTReachabilityTarget {
  public:
    [[nodiscard]] bool isScheduled() const {
        const VKTLock lock(mutex_);
        return isScheduled_;
    }

    /// Reports flags that are new.
    void setFlags(std::optional<VKTReachabilityFlags> flags) {
        {
            const VKTLock lock(mutex_);
            if (std::exchange(flags_, flags) == flags) return;
        }
        if (flags) reporter_.report(*flags);
    }

    [[nodiscard]] std::optional<VKTReachabilityFlags> flags() const override {
        const VKTLock lock(mutex_);
        return flags_;
    }
    void setCallback(VKTReachabilityCallback callback) override {
        reporter_.setCallback(std::move(callback));
    }
    void schedule(std::shared_ptr<VKTRunLoop> loop) override {
        const VKTLock lock(mutex_);
        isScheduled_ = true;
        reporter_.start(std::move(loop));
    }
    void unschedule() override {
        const VKTLock lock(mutex_);
        isScheduled_ = false;
        reporter_.stop();
    }

  private:
    VKTReachabilityReporter reporter_;
    mutable VKTMutex mutex_;
    std::optional<VKTReachabilityFlags> flags_ VKT_GUARDED_BY(mutex_);
    bool isScheduled_ VKT_GUARDED_BY(mutex_) = false;
};
